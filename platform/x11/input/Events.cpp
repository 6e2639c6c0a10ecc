#include "platform/Events.h"

#include "platform/x11/input/EventThread.h"
#include "platform/x11/server/Connection.h"

#include <xcb/xtest.h>

#include <utility>

namespace platform {

struct EventSource::State {
    State(std::unique_ptr<x11::Connection> open, const x11::InputDevices& devices)
        : events(std::move(open), devices) {}

    x11::EventThread events;
};

std::unique_ptr<EventSource> EventSource::create() {
    auto connection = x11::Connection::open();
    if (!connection || !connection->has(&xcb_test_id))
        return nullptr;
    const auto devices = x11::findInputDevices(*connection);
    if (!devices)
        return nullptr;
    return std::unique_ptr<EventSource>(
        new EventSource(std::make_unique<State>(std::move(connection), *devices)));
}

EventSource::EventSource(std::unique_ptr<State> state) : state(std::move(state)) {}
EventSource::~EventSource() = default;

bool EventSource::post(const MouseEvent& event) {
    return state->events.post(event);
}

bool EventSource::post(const ScrollWheelEvent& event) {
    return state->events.post(event);
}

bool EventSource::post(const KeyboardEvent& event) {
    return state->events.post(event);
}

void EventSource::flush() {
    state->events.flush();
}

void EventSource::finish(std::chrono::milliseconds limit) {
    state->events.finish(limit);
}

void EventSource::giveWay(double echo) {
    state->events.giveWay(echo);
}

double EventSource::secondsSinceLastInput() {
    return state->events.secondsSinceInput();
}

} // namespace platform
