#pragma once

#include "platform/Events.h"
#include "platform/x11/input/Pointer.h"
#include "platform/x11/input/keyboard/Keyboard.h"
#include "platform/x11/server/AtExit.h"
#include "platform/x11/server/Connection.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <variant>
#include <vector>

namespace platform::x11 {

/// Carries out input events one after the other on a thread of its own, which waits where typing
/// has to wait. Its operations are called by one other thread.
///
/// An event is usually waited for. A text is not, nor is what is posted until it is typed: those
/// are trusted to arrive.
class EventThread {
public:
    using Clock = std::chrono::steady_clock;
    using Event = std::variant<MouseEvent, ScrollWheelEvent, KeyboardEvent>;

    /// `keyboard` may be missing; then keyboard events are not taken. It uses `connection`.
    EventThread(const Connection& connection, std::unique_ptr<Keyboard> keyboard);
    /// Gives up what waits and leaves no key, button or binding behind; so does the process's end.
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// Whether the event has been carried out or is trusted to be.
    bool post(Event event);

    /// Waits until nothing is trusted to arrive any more, no longer than `limit`.
    void finish(std::chrono::milliseconds limit);

    /// When an input that the server saw at `time` counts as made: a trusted event when it was
    /// posted, anything else when it was seen.
    Clock::time_point countsFrom(Clock::time_point time);

private:
    struct Job {
        Event event;
        std::promise<bool>* carriedOut = nullptr; // of a caller that waits; none if trusted
    };

    void run();
    std::optional<Job> next();
    /// Waits for something to change, and takes the bindings away when they are long unused.
    void waitIdle(std::unique_lock<std::mutex>& locked);
    bool perform(const Job& job);
    void leaveNothingBehind();

    bool perform(const MouseEvent& event);
    bool perform(const ScrollWheelEvent& event);
    bool perform(const KeyboardEvent& event);
    bool type(const KeyboardEvent& event);
    /// Appends the texts that wait right behind this one, so that they are typed as one.
    void takeMore(std::vector<Keysym>& symbols, EventFlags flags);
    /// Makes plans until it is time for one; nothing if the end comes first.
    template<class Plan>
    std::optional<Keyboard::Batch> plan(Plan make);
    bool pauseUntil(Clock::time_point time);
    void noteSending(bool sending);
    void end();

    const Connection& connection;
    std::unique_ptr<Keyboard> keyboard; // the thread's own, like the pointer
    Pointer pointer;
    Clock::time_point lastTyped{};

    std::mutex lock;
    std::condition_variable changed;       // of any of the following
    std::deque<Job> queue;                 // under lock, as is what follows
    std::size_t trusted = 0;               // jobs that are not carried out yet
    Clock::time_point lastTrusted{};       // when one was posted
    bool sending = false;                  // a trusted one, to the server, now
    std::optional<Clock::time_point> sent; // the last trusted one
    bool ending = false;
    bool ended = false;

    std::thread thread;
    AtExit atExit; // last, so that it acts on nothing that is gone
};

} // namespace platform::x11
