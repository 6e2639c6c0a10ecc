#pragma once

#include "platform/Clock.h"
#include "platform/wayland/server/Connection.h"

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>

#include <functional>
#include <optional>

namespace platform::wayland {

/// The life of a thread that waits for the compositor. Whatever wakes it (an event, a command of
/// another thread, the time it asked for), it makes a turn: it handles all events that have
/// arrived, decides what is to be done at this time, and rests. Everything but `post` and `stop`
/// belongs to the thread that is in `run`, and before that to the one that makes the object.
class EventLoop {
public:
    /// Called in every turn once the events are handled; returns when to make another turn at the
    /// latest, if ever. `now` is the turn's one reading of the clock. It has to look whether the
    /// connection is lost: a loop without one goes on with commands and time alone, until `stop`.
    using Turn = std::function<std::optional<MediaTime>(MediaTime now)>;

    /// The connection outlives the object. Throws std::system_error.
    explicit EventLoop(const Connection& connection);
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Makes turns until `stop`, the first one at once.
    void run(Turn turn);
    /// Runs a command on the loop's thread and makes a turn after it. Callable from any thread.
    void post(std::function<void()> command);
    /// Ends `run`, or keeps it from beginning, for good. Callable from any thread.
    void stop() { io.stop(); }

    /// For whatever else the thread waits for.
    asio::io_context& context() { return io; }

private:
    void wake();
    void makeTurn();

    const Connection& connection;
    Turn turn;
    bool turnIsDue = false;
    asio::io_context io{1};
    asio::posix::stream_descriptor socket;
    asio::steady_timer timer;
};

} // namespace platform::wayland
