#include "platform/Events.h"

#include "platform/decisions/InputQueue.h"
#include "platform/desktop/Choice.h"
#include "platform/wayland/input/EventThread.h"
#include "platform/x11/input/EventThread.h"

#include <cstddef>
#include <future>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

namespace platform {

namespace {

/// Events, and symbols of texts, that may wait: a text of a quarter of an hour. With more the
/// desktop has been stuck for long.
constexpr std::size_t maxWaiting = 1 << 20;

/// Of the desktop that this process serves.
using Thread =
    std::variant<std::unique_ptr<x11::EventThread>, std::unique_ptr<wayland::EventThread>>;

Thread startThread() {
    if (desktop::isWayland())
        return wayland::EventThread::start();
    return x11::EventThread::start();
}

} // namespace

struct EventSource::State {
    Thread thread;
    std::vector<InputQueue::Event> posted{}; // until `flush`

    template<class Use>
    auto onThread(Use use) const {
        return std::visit([&](const auto& each) { return use(*each); }, thread);
    }
    bool post(InputQueue::Event event) {
        const auto waiting = onThread([](const auto& each) { return each.waiting(); });
        if (posted.size() + waiting >= maxWaiting)
            return false;
        posted.push_back(std::move(event));
        return true;
    }
};

std::unique_ptr<EventSource> EventSource::create() {
    auto thread = startThread();
    if (std::visit([](const auto& each) { return each == nullptr; }, thread))
        return nullptr;
    return std::unique_ptr<EventSource>(
        new EventSource(std::make_unique<State>(State{std::move(thread)})));
}

EventSource::EventSource(std::unique_ptr<State> state) : state(std::move(state)) {}
EventSource::~EventSource() = default;

bool EventSource::post(const MouseEvent& event) {
    return state->post(event);
}

bool EventSource::post(const ScrollWheelEvent& event) {
    return state->post(event);
}

bool EventSource::post(KeyboardEvent event) {
    // All of it happens when the key goes down.
    return !event.keyDown || state->post(std::move(event));
}

void EventSource::flush() {
    if (!state->posted.empty())
        state->onThread([&](auto& each) { each.post(std::exchange(state->posted, {})); });
}

void EventSource::finish(std::chrono::milliseconds limit) {
    const auto finished = std::make_shared<std::promise<void>>();
    state->posted.emplace_back(InputQueue::Marker{[finished] { finished->set_value(); }});
    flush();
    finished->get_future().wait_for(limit);
}

void EventSource::yieldToPeople(double echo) {
    state->onThread([&](auto& each) { each.yieldToPeople(echo); });
}

double EventSource::secondsSinceLastInput() {
    return state->onThread([](const auto& each) { return each.secondsSinceInput(); });
}

} // namespace platform
