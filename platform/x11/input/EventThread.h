#pragma once

#include "platform/Events.h"
#include "platform/decisions/InputQueue.h"
#include "platform/decisions/TextTyper.h"
#include "platform/support/AtExit.h"
#include "platform/x11/input/PersonWatch.h"
#include "platform/x11/input/Pointer.h"
#include "platform/x11/input/keyboard/Keyboard.h"
#include "platform/x11/server/Connection.h"

#include <asio.hpp>

#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace platform::x11 {

/// Carries out input events one after the other on a thread of its own, which may wait for the
/// server. Its operations are called by one other thread and don't.
class EventThread {
public:
    using Clock = InputQueue::Time::clock;

    /// Returns nullptr without a server that takes events.
    static std::unique_ptr<EventThread> start();
    /// Takes `connection` for itself. Without a keyboard, keys do nothing.
    EventThread(std::unique_ptr<Connection> connection, const InputDevices& devices);
    /// Gives up what waits and leaves no key, button or binding behind; so does the process's end.
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// Queues the event until `flush`. False if too many wait.
    bool post(const InputQueue::Event& event);
    void flush();
    /// Waits until nothing is queued any more, no longer than `limit`.
    void finish(std::chrono::milliseconds limit);

    /// See EventSource.
    void giveWay(double echo) { secondsOfEcho = echo; }
    double secondsSinceInput() const { return people.secondsSinceInput(); }

private:
    void run();
    void waitForServer();
    void work();
    void takePosted();
    void takeEvents();
    void performSome();
    void waitForMore();
    void wakeAt(Clock::time_point time);
    /// Returns when it has to be looked at again.
    Clock::time_point unbindWhenUnused(Clock::time_point now);
    void yieldTo(PersonWatch::Input input);
    /// Waits until the server has done what was asked of it.
    void settle();

    void perform(const MouseEvent& event);
    void perform(const ScrollWheelEvent& event);
    void perform(const InputQueue::Tap& tap);
    void perform(const InputQueue::Text& text);
    void performed(TextTyper::Outcome outcome);
    void lookForInputMethod();

    void end();
    void leaveNothingBehind();

    std::unique_ptr<Connection> connection;
    std::unique_ptr<Keyboard> keyboard; // nullptr without one
    std::unique_ptr<TextTyper> typer;   // on the keyboard; the thread's own, as is what follows
    Pointer pointer;
    PersonWatch people;
    InputQueue queue;
    Clock::time_point lastTyped{};
    xcb_atom_t inputMethods;

    std::atomic<double> secondsOfEcho = std::numeric_limits<double>::infinity();
    std::atomic<Clock::time_point> lastPosted{};
    std::mutex lock;
    std::vector<InputQueue::Event> posted;     // under lock
    std::size_t queued = 0;                    // under lock
    std::vector<std::promise<void>> finishers; // under lock

    std::atomic<bool> workPending = false;
    std::atomic<bool> ending = false;

    asio::io_context loop{1};
    asio::posix::stream_descriptor server;
    asio::steady_timer timer;
    std::promise<void> ended;
    std::thread thread;
    AtExit atExit; // last, so that it acts on nothing that is gone
};

} // namespace platform::x11
