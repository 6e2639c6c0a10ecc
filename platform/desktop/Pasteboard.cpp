#include "platform/Pasteboard.h"

#include "platform/Queue.h"
#include "platform/desktop/Choice.h"
#include "platform/wayland/clipboard/PasteboardThread.h"
#include "platform/x11/clipboard/PasteboardThread.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <variant>

namespace platform {
namespace {

/// Brings an answer to the main queue.
template<class Handler>
Handler onMainQueue(Handler done) {
    return [done = std::move(done)](auto answer) {
        mainQueue([done, answer = std::move(answer)] { done(answer); });
    };
}

/// Of the desktop that this process serves; empty if it has no pasteboard.
using Thread = std::variant<std::unique_ptr<x11::PasteboardThread>,
                            std::unique_ptr<wayland::PasteboardThread>>;

Thread startThread() {
    if (desktop::isWayland())
        return wayland::PasteboardThread::start();
    return x11::PasteboardThread::start();
}

} // namespace

struct Pasteboard::State {
    /// Of the X server among a Wayland compositor's clients, if there is one. The compositor hands
    /// on what X clients copy, but not all that they say of it.
    std::unique_ptr<x11::PasteboardThread> guest =
        desktop::isWayland() ? x11::PasteboardThread::start() : nullptr;
    Thread thread = startThread(); // last, so that it asks nobody who is gone

    /// Returns whether there was a thread to use.
    template<class Use>
    bool onThread(Use use) const {
        return std::visit([&](const auto& each) { return each && (use(*each), true); }, thread);
    }

    /// Adds what the X server's client says to the types of the contents.
    TypesHandler withGuest(const TypesHandler& done) const {
        if (!guest)
            return done;
        return [this, done](const std::vector<std::string>& types) {
            guest->types(guest->changeCount(), [types, done](const auto& more) {
                auto all = types;
                std::ranges::copy(more, std::back_inserter(all));
                done(all);
            });
        };
    }
};

Pasteboard::Pasteboard() : state(std::make_unique<State>()) {}
Pasteboard::~Pasteboard() = default;

std::int64_t Pasteboard::changeCount() const {
    std::int64_t count = 0;
    state->onThread([&](const auto& each) { count = each.changeCount(); });
    return count;
}

void Pasteboard::types(std::int64_t change, const TypesHandler& handler) {
    const auto done = onMainQueue(handler);
    if (!state->onThread([&](auto& each) { each.types(change, state->withGuest(done)); }))
        done({});
}

void Pasteboard::string(std::int64_t change, std::size_t limit, const TextHandler& handler) {
    const auto done = onMainQueue(handler);
    if (!state->onThread([&](auto& each) { each.string(change, limit, done); }))
        done(std::nullopt);
}

void Pasteboard::setString(const std::string& text) {
    state->onThread([&](auto& each) { each.setString(text); });
}

} // namespace platform
