#include "platform/wayland/input/EventThread.h"

#include <pthread.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <utility>
#include <variant>

namespace platform::wayland {
namespace {

/// The process's end does not wait longer for a compositor that does not answer.
constexpr std::chrono::seconds maxEnd{1};
/// Events that are carried out before there is another look at whether the end has come.
constexpr int maxAtOnce = 256;

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
      typer(keyboard),
      people(*connection, seat.get()),
      thread([this] {
          pthread_setname_np(pthread_self(), "orvel.events");
          loop.run([this](MediaTime now) { return makeTurn(now); });
      }),
      atExit([this] { end(); }) {}

EventThread::~EventThread() {
    end();
    thread.join();
}

void EventThread::end() {
    const auto ended = std::make_shared<std::promise<void>>();
    loop.post([this, ended] {
        pointer.releaseAll();
        std::this_thread::sleep_for(typer.timeBeforeEnd());
        typer.unbind();
        connection->roundTrip();
        loop.stop();
        ended->set_value();
    });
    ended->get_future().wait_for(maxEnd);
}

void EventThread::post(std::vector<InputQueue::Event> events) {
    unfinished += events.size();
    loop.post([this, events = std::move(events)] {
        for (const auto& event : events)
            queue.push(event);
        lastPosted = hostTime();
    });
}

std::optional<MediaTime> EventThread::makeTurn(MediaTime now) {
    outputs.update();
    yieldIfPersonIsThere(now);
    performDue();
    unfinished = queue.size();
    auto due = people.due(now);
    const auto next = queue.empty() ? typer.unbindWhenUnused(now) : queue.dueAt();
    if (next && (!due || *next < *due))
        due = next;
    return due;
}

void EventThread::performDue() {
    bool any = false;
    for (int count = 0; count < maxAtOnce; ++count) {
        const auto* const entry = queue.due(hostTime());
        if (!entry)
            break;
        std::visit([this](const auto& each) { perform(each); }, *entry);
        any = true;
    }
    if (any)
        people.made();
}

void EventThread::perform(const MouseEvent& event) {
    pointer.perform(event);
    queue.done(hostTime());
}

void EventThread::perform(const ScrollWheelEvent& event) {
    pointer.perform(event);
    queue.done(hostTime());
}

void EventThread::perform(const InputQueue::Tap& tap) {
    queue.setPace(flow.pace(hostTime()));
    performed(typer.tap(tap.key, tap.flags));
}

void EventThread::perform(const InputQueue::Text& text) {
    queue.setPace(flow.pace(hostTime()));
    performed(typer.type(queue.portion(), text.flags, queue.maxKeysAtOnce()));
}

void EventThread::perform(const InputQueue::Marker& marker) {
    connection->roundTrip();
    marker.reached();
    queue.done(hostTime());
}

void EventThread::performed(TextTyper::Outcome outcome) {
    const auto now = hostTime();
    flow.typed(outcome.symbols, now);
    if (outcome.symbols > 0)
        queue.done(now, outcome.symbols);
    else
        queue.wait(outcome.notBefore);
}

/// Gives up what is queued or held for somebody who uses the seat: the compositor does not tell
/// whether the person has pressed something or moved the pointer.
void EventThread::yieldIfPersonIsThere(MediaTime now) {
    if (!people.isPersonThere(now))
        return;
    pointer.mayHaveMoved();
    const std::chrono::duration<double> sincePosted = now - lastPosted;
    if (!(sincePosted.count() > secondsOfEcho))
        return;
    queue.clear();
    pointer.releaseAll();
}

} // namespace platform::wayland
