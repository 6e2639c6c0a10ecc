#include "platform/Events.h"

#include "platform/x11/input/EventThread.h"
#include "platform/x11/input/keyboard/Keyboard.h"
#include "platform/x11/server/Connection.h"

#include <xcb/screensaver.h>
#include <xcb/xtest.h>

#include <limits>
#include <utility>

namespace platform {

using x11::Connection;
using x11::EventThread;

struct EventSource::State {
    explicit State(std::unique_ptr<Connection> open)
        : connection(std::move(open)),
          events(*connection, x11::Keyboard::create(*connection)) {}

    std::unique_ptr<Connection> connection;
    EventThread events;
};

std::unique_ptr<EventSource> EventSource::create() {
    auto connection = Connection::open();
    if (!connection || !connection->has(&xcb_test_id))
        return nullptr;
    return std::unique_ptr<EventSource>(
        new EventSource(std::make_unique<State>(std::move(connection))));
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

void EventSource::finish(std::chrono::milliseconds limit) {
    state->events.finish(limit);
}

double EventSource::secondsSinceLastInput() {
    const auto& connection = *state->connection;
    const auto never = std::numeric_limits<double>::infinity();
    if (!connection.has(&xcb_screensaver_id))
        return never;
    const auto info = x11::reply(connection, xcb_screensaver_query_info_reply,
                                 xcb_screensaver_query_info(connection, connection.root()));
    if (!info)
        return never;
    const auto now = EventThread::Clock::now();
    const std::chrono::milliseconds idle{info->ms_since_user_input};
    return std::chrono::duration<double>(now - state->events.countsFrom(now - idle)).count();
}

} // namespace platform
