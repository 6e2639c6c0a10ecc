#include "platform/Events.h"

#include "platform/desktop/Choice.h"
#include "platform/x11/input/EventThread.h"

#include <utility>

namespace platform {

struct EventSource::State {
    std::unique_ptr<x11::EventThread> events;
};

std::unique_ptr<EventSource> EventSource::create() {
    auto events = desktop::isWayland() ? nullptr : x11::EventThread::start();
    if (!events)
        return nullptr;
    return std::unique_ptr<EventSource>(
        new EventSource(std::make_unique<State>(std::move(events))));
}

EventSource::EventSource(std::unique_ptr<State> state) : state(std::move(state)) {}
EventSource::~EventSource() = default;

bool EventSource::post(const MouseEvent& event) {
    return state->events->post(event);
}

bool EventSource::post(const ScrollWheelEvent& event) {
    return state->events->post(event);
}

bool EventSource::post(const KeyboardEvent& event) {
    return state->events->post(event);
}

void EventSource::flush() {
    state->events->flush();
}

void EventSource::finish(std::chrono::milliseconds limit) {
    state->events->finish(limit);
}

void EventSource::giveWay(double echo) {
    state->events->giveWay(echo);
}

double EventSource::secondsSinceLastInput() {
    return state->events->secondsSinceInput();
}

} // namespace platform
