#pragma once

#include "platform/Clock.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <chrono>
#include <concepts>
#include <functional>
#include <optional>
#include <utility>

namespace platform {

/// What the loop asks of a connection's events. None of it waits for the desktop's answer.
template<class Events>
concept ConnectionEvents = requires(Events& events) {
    /// The connection's socket.
    { events.descriptor() } -> std::convertible_to<int>;
    /// Handles all events that have arrived.
    events.dispatch();
    /// Handles those that were read while somebody waited for a reply. Returns whether there were
    /// any.
    { events.dispatchRead() } -> std::convertible_to<bool>;
    /// Sends what was asked for. Returns false if the socket has no room for all of it.
    { events.flush() } -> std::convertible_to<bool>;
    /// Whether the desktop is gone.
    { events.lost() } -> std::convertible_to<bool>;
};

/// The life of a thread that waits for a connection to the desktop. Whatever wakes it (an event, a
/// command of another thread, the time it asked for), it makes a turn: it handles all events that
/// have arrived, decides what is to be done at this time, and rests. Everything but `post` and
/// `stop` belongs to the thread that is in `run`, and before that to the one that makes the object.
template<ConnectionEvents Events>
class EventLoop {
public:
    /// What a turn asks for.
    struct Rest {
        std::optional<MediaTime> until; ///< When to make another turn at the latest, if ever.
        /// Whether an event ends the rest. If not, events wait for the next turn and wake nobody.
        bool listens = true;
    };
    /// Called in every turn once the events are handled; `now` is the turn's one reading of the
    /// clock. It may ask the desktop for things, and has to look whether the connection is lost: a
    /// loop without one goes on with commands and time alone, until `stop`.
    using Turn = std::function<Rest(MediaTime now)>;

    /// `events` outlives the object. Throws std::system_error.
    explicit EventLoop(Events& events) : events(events), socket(io), timer(io) {}
    ~EventLoop() { listen(false); }
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Makes turns until `stop`, the first one at once.
    void run(Turn decide) {
        turn = std::move(decide);
        wake();
        const auto stayWithoutWork = asio::make_work_guard(io);
        io.run();
    }

    /// Runs a command on the loop's thread and makes a turn after it. Commands are run in their
    /// order; those that are waiting when the loop is stopped are dropped. Callable from any
    /// thread.
    void post(std::function<void()> command) {
        asio::post(io, [this, command = std::move(command)] {
            command();
            wake();
        });
    }

    /// Ends `run`, or keeps it from beginning, for good. Callable from any thread.
    void stop() { io.stop(); }

    /// For whatever else the thread waits for.
    asio::io_context& context() { return io; }

private:
    /// Several reasons to wake up, such as commands one after the other, make one turn.
    void wake() {
        if (!std::exchange(turnIsDue, true))
            asio::post(io, [this] { makeTurn(); });
    }

    void makeTurn() {
        turnIsDue = false;
        events.dispatch();
        const bool lost = events.lost();
        const Rest rest = turn(hostTime());
        const bool isSent = events.flush();
        // What was read in this turn would wake nobody.
        if (events.dispatchRead() || events.lost() != lost)
            return wake();
        wakeAt(rest.until);
        listen((rest.listens || !isSent) && !lost);
        if (!isSent && !lost)
            wakeWhen(asio::posix::stream_descriptor::wait_write);
    }

    void wakeAt(std::optional<MediaTime> time) {
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

    /// The descriptor is the connection's. Taking it out of the context is what lets the thread
    /// sleep: as long as it is in, whatever arrives there wakes the thread, even if nobody waits
    /// for it.
    void listen(bool on) {
        if (on == socket.is_open())
            return;
        if (!on) {
            socket.release();
            return;
        }
        socket.assign(events.descriptor());
        wakeWhen(asio::posix::stream_descriptor::wait_read);
    }

    void wakeWhen(asio::posix::stream_descriptor::wait_type ready) {
        socket.async_wait(ready, [this](const asio::error_code& error) {
            if (error)
                return;
            listen(false);
            wake();
        });
    }

    Events& events;
    Turn turn;
    bool turnIsDue = false;
    std::optional<MediaTime> wakeTime; // that `timer` waits for
    asio::io_context io{1};
    asio::posix::stream_descriptor socket; // open while an event shall wake the thread
    asio::steady_timer timer;
};

} // namespace platform
