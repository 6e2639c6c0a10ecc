#include "platform/x11/server/EventLoop.h"

#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>

#include <chrono>
#include <utility>

namespace platform::x11 {

EventLoop::EventLoop(const Connection& connection)
    : connection(connection),
      events(connection),
      socket(context),
      timer(context) {}

EventLoop::~EventLoop() {
    listen(false);
}

void EventLoop::run(Turn decide) {
    turn = std::move(decide);
    wake();
    const auto stayWithoutWork = asio::make_work_guard(context);
    context.run();
}

void EventLoop::post(std::function<void()> command) {
    asio::post(context, [this, command = std::move(command)] {
        command();
        wake();
    });
}

/// Several reasons to wake up, such as commands one after the other, make one turn.
void EventLoop::wake() {
    if (!std::exchange(turnIsDue, true))
        asio::post(context, [this] { makeTurn(); });
}

void EventLoop::makeTurn() {
    turnIsDue = false;
    handleEvents();
    const bool lost = connection.lost();
    const Rest rest = turn(hostTime());
    xcb_flush(connection);
    // Whoever sends a request or waits for a reply reads events, too, and those would wake nobody.
    if (handleEvents(xcb_poll_for_queued_event) || connection.lost() != lost)
        return wake();
    wakeAt(rest.until);
    listen(rest.listens && !lost);
}

bool EventLoop::handleEvents(xcb_generic_event_t* (*next)(xcb_connection_t*)) {
    bool any = false;
    while (const Owned<xcb_generic_event_t> event{next(connection)}) {
        events.handle(*event);
        any = true;
    }
    return any;
}

void EventLoop::wakeAt(std::optional<MediaTime> time) {
    if (time == wakeTime)
        return;
    wakeTime = time;
    timer.cancel();
    if (!time)
        return;
    timer.expires_at(
        std::chrono::steady_clock::time_point(std::chrono::nanoseconds(time->nanoseconds)));
    timer.async_wait([this](const asio::error_code& error) {
        if (error)
            return;
        wakeTime.reset();
        wake();
    });
}

/// The descriptor is the connection's. Taking it out of the context is what lets the thread sleep:
/// as long as it is in, whatever arrives there wakes the thread, even if nobody waits for it.
void EventLoop::listen(bool on) {
    if (on == socket.is_open())
        return;
    if (!on) {
        socket.release();
        return;
    }
    socket.assign(xcb_get_file_descriptor(connection));
    socket.async_wait(asio::posix::stream_descriptor::wait_read,
                      [this](const asio::error_code& error) {
                          if (error)
                              return;
                          listen(false);
                          wake();
                      });
}

} // namespace platform::x11
