#include "platform/Pasteboard.h"

#include "platform/Queue.h"
#include "platform/desktop/Choice.h"
#include "platform/x11/clipboard/PasteboardThread.h"

#include <utility>

namespace platform {
namespace {

/// Brings an answer to the main queue.
template<class Handler>
Handler onMainQueue(Handler done) {
    return [done = std::move(done)](auto answer) {
        mainQueue([done, answer = std::move(answer)] { done(answer); });
    };
}

} // namespace

struct Pasteboard::State {
    std::unique_ptr<x11::PasteboardThread> thread =
        desktop::isWayland() ? nullptr : x11::PasteboardThread::start();
};

Pasteboard::Pasteboard() : state(std::make_unique<State>()) {}
Pasteboard::~Pasteboard() = default;

std::int64_t Pasteboard::changeCount() const {
    return state->thread ? state->thread->changeCount() : 0;
}

void Pasteboard::types(std::int64_t change, const TypesHandler& handler) {
    const auto done = onMainQueue(handler);
    if (state->thread)
        state->thread->types(change, done);
    else
        done({});
}

void Pasteboard::string(std::int64_t change, std::size_t limit, const TextHandler& handler) {
    const auto done = onMainQueue(handler);
    if (state->thread)
        state->thread->string(change, limit, done);
    else
        done(std::nullopt);
}

void Pasteboard::setString(const std::string& text) {
    if (state->thread)
        state->thread->setString(text);
}

} // namespace platform
