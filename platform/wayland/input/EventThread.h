#pragma once

#include "platform/decisions/InputPerformer.h"
#include "platform/support/AtExit.h"
#include "platform/wayland/input/KeyFlow.h"
#include "platform/wayland/input/PersonWatch.h"
#include "platform/wayland/input/VirtualKeyboard.h"
#include "platform/wayland/input/VirtualPointer.h"
#include "platform/wayland/server/Connection.h"
#include "platform/wayland/server/EventLoop.h"
#include "platform/wayland/server/Outputs.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace platform::wayland {

/// Carries out input events one after the other on a thread of its own. Its operations are called
/// by one other thread and don't wait. The pointer and the keyboard stay for the whole session:
/// clients lose the first keys of a new one, and compositors have crashed when the last one went.
class EventThread {
public:
    /// Whether the compositor takes events.
    static bool isOfferedBy(const Connection& connection);
    /// Returns nullptr without a compositor that takes events.
    static std::unique_ptr<EventThread> start();
    /// Gives up what waits and leaves no key or button behind; so does the process's end.
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
    explicit EventThread(std::unique_ptr<Connection> open);

    std::optional<MediaTime> makeTurn(MediaTime now);
    void end();

    std::unique_ptr<Connection> connection;
    Owned<wl_seat> seat;
    EventLoop loop;
    Outputs outputs;
    VirtualPointer pointer;
    VirtualKeyboard keyboard;
    KeyFlow flow;
    InputPerformer performer;
    PersonWatch people;
    std::atomic<std::size_t> unfinished = 0;
    std::thread thread;
    AtExit atExit; // last, so that it acts on nothing that is gone
};

} // namespace platform::wayland
