#pragma once

#include "platform/decisions/InputPerformer.h"
#include "platform/support/AtExit.h"
#include "platform/x11/input/PersonWatch.h"
#include "platform/x11/input/Pointer.h"
#include "platform/x11/input/keyboard/Keyboard.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventLoop.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace platform::x11 {

/// Carries out input events one after the other on a thread of its own, which may wait for the
/// server. Its operations are called by one other thread and don't.
class EventThread {
public:
    /// Returns nullptr without a server that takes events and tells its keymap.
    static std::unique_ptr<EventThread> start();
    /// Gives up what waits and leaves no key, button or binding behind; so does the process's end.
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// Queues events behind those before.
    void post(std::vector<InputQueue::Event> events);
    /// About how many events have not been carried out yet.
    std::size_t waiting() const { return unfinished; }

    /// See EventSource.
    void yieldToPeople(double echo) { performer.yieldToPeople(echo); }
    double secondsSinceInput() const { return people.secondsSinceInput(); }

private:
    EventThread(std::unique_ptr<Connection> open, const InputDevices& devices);

    EventLoop::Rest makeTurn(MediaTime now);
    bool inputMethodRuns() const;
    void settle();
    void end();

    std::unique_ptr<Connection> connection;
    EventHandlers handlers;
    EventLoop loop;
    Pointer pointer;
    Keyboard keyboard;
    xcb_atom_t inputMethods;
    InputPerformer performer;
    PersonWatch people;
    std::atomic<std::size_t> unfinished = 0;
    std::thread thread;
    AtExit atExit; // last, so that it acts on nothing that is gone
};

} // namespace platform::x11
