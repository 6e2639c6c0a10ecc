#include "platform/wayland/input/EventThread.h"

#include <pthread.h>

#include <future>
#include <stdexcept>
#include <utility>

namespace platform::wayland {
namespace {

/// The process's end does not wait longer for a compositor that does not answer.
constexpr std::chrono::seconds maxEnd{1};

} // namespace

bool EventThread::isOfferedBy(const Connection& connection) {
    return VirtualPointer::isOfferedBy(connection) && VirtualKeyboard::isOfferedBy(connection) &&
           Outputs::areOfferedBy(connection) && connection.has(wl_seat_interface);
}

std::unique_ptr<EventThread> EventThread::start() {
    auto connection = Connection::open();
    if (!connection || !isOfferedBy(*connection))
        return nullptr;
    try {
        return std::unique_ptr<EventThread>(new EventThread(std::move(connection)));
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

EventThread::EventThread(std::unique_ptr<Connection> open)
    : connection(std::move(open)),
      seat(connection->bind<wl_seat>(wl_seat_interface)),
      loop(*connection),
      outputs(*connection),
      pointer(*connection, seat.get(), outputs),
      keyboard(*connection, seat.get()),
      performer(pointer, keyboard,
                {.pace = [this] { return flow.pace(hostTime()); },
                 .settle = [this] { connection->roundTrip(); }}),
      people(*connection, seat.get()),
      thread([this] {
          pthread_setname_np(pthread_self(), "orvel.events");
          loop.run([this](MediaTime now) { return EventLoop::Rest{makeTurn(now)}; });
      }),
      atExit([this] { end(); }) {}

EventThread::~EventThread() {
    end();
    thread.join();
}

void EventThread::end() {
    const auto ended = std::make_shared<std::promise<void>>();
    loop.post([this, ended] {
        performer.end();
        loop.stop();
        ended->set_value();
    });
    ended->get_future().wait_for(maxEnd);
}

void EventThread::post(std::vector<InputQueue::Event> events) {
    unfinished += events.size();
    loop.post([this, events = std::move(events)] { performer.push(events); });
}

std::optional<MediaTime> EventThread::makeTurn(MediaTime now) {
    outputs.update();
    if (people.isPersonThere(now)) {
        // The compositor does not tell whether the person has pressed something.
        performer.yieldTo(true);
        pointer.mayHaveMoved();
    }
    const auto done = performer.performDue();
    flow.typed(done.keys, now);
    if (done.any)
        people.made();
    unfinished = performer.waiting();
    auto due = people.due(now);
    const auto next = performer.nextTurn(now);
    if (next && (!due || *next < *due))
        due = next;
    return due;
}

} // namespace platform::wayland
