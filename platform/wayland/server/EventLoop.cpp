#include "platform/wayland/server/EventLoop.h"

#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>

#include <chrono>
#include <utility>

namespace platform::wayland {

EventLoop::EventLoop(const Connection& connection)
    : connection(connection),
      socket(io, connection.descriptor()),
      timer(io) {}

/// The descriptor is the connection's.
EventLoop::~EventLoop() {
    socket.release();
}

void EventLoop::run(Turn decide) {
    turn = std::move(decide);
    wake();
    const auto stayWithoutWork = asio::make_work_guard(io);
    io.run();
}

void EventLoop::post(std::function<void()> command) {
    asio::post(io, [this, command = std::move(command)] {
        command();
        wake();
    });
}

/// Several reasons to wake up, such as commands one after the other, make one turn.
void EventLoop::wake() {
    if (!std::exchange(turnIsDue, true))
        asio::post(io, [this] { makeTurn(); });
}

void EventLoop::makeTurn() {
    turnIsDue = false;
    connection.dispatch();
    const auto until = turn(hostTime());
    const bool isSent = wl_display_flush(connection) >= 0;
    const auto wakes = [this](const asio::error_code& error) {
        if (!error)
            wake();
    };
    timer.cancel();
    if (until) {
        timer.expires_at(
            std::chrono::steady_clock::time_point(std::chrono::nanoseconds(until->nanoseconds)));
        timer.async_wait(wakes);
    }
    socket.cancel();
    if (connection.lost())
        return;
    socket.async_wait(asio::posix::stream_descriptor::wait_read, wakes);
    if (!isSent)
        socket.async_wait(asio::posix::stream_descriptor::wait_write, wakes);
}

} // namespace platform::wayland
