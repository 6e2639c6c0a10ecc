#pragma once

#include "platform/Clock.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventHandlers.h"

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>

#include <functional>
#include <optional>

namespace platform::x11 {

/// The life of a thread that waits for an X connection. Whatever wakes it (an event, a command of
/// another thread, the time it asked for), it makes a turn: it handles all events that have
/// arrived, decides what is to be done at this time, and rests. Everything but `post` and `stop`
/// belongs to the thread that is in `run`, and before that to the one that makes the object.
class EventLoop {
public:
    /// What a turn asks for.
    struct Rest {
        std::optional<MediaTime> until; ///< When to make another turn at the latest, if ever.
        /// Whether an event ends the rest. If not, events wait for the next turn and wake nobody.
        bool listens = true;
    };
    /// Called in every turn once the events are handled; `now` is the turn's one reading of the
    /// clock. It may ask the server for things, and has to look whether the connection is lost: a
    /// loop without one goes on with commands and time alone, until `stop`.
    using Turn = std::function<Rest(MediaTime now)>;

    /// The connection outlives the object. Throws std::system_error.
    explicit EventLoop(const Connection& connection);
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    EventHandlers& handlers() { return events; }

    /// Makes turns until `stop`, the first one at once.
    void run(Turn turn);
    /// Handles the events that have arrived, also in the middle of a turn.
    void handleEvents() { handleEvents(xcb_poll_for_event); }

    /// Runs a command on the loop's thread and makes a turn after it. Commands are run in their
    /// order; those that are waiting when the loop is stopped are dropped. Callable from any
    /// thread.
    void post(std::function<void()> command);
    /// Ends `run`, or keeps it from beginning, for good. Callable from any thread.
    void stop() { context.stop(); }

private:
    /// Handles the events that `next` gives. Returns whether there were any.
    bool handleEvents(xcb_generic_event_t* (*next)(xcb_connection_t*));
    void wake();
    void makeTurn();
    void wakeAt(std::optional<MediaTime> time);
    void listen(bool on);

    const Connection& connection;
    EventHandlers events;
    Turn turn;
    bool turnIsDue = false;
    std::optional<MediaTime> wakeTime; // that `timer` waits for
    asio::io_context context{1};
    asio::posix::stream_descriptor socket; // open while an event shall wake the thread
    asio::steady_timer timer;
};

} // namespace platform::x11
