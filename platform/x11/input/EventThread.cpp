#include "platform/x11/input/EventThread.h"

#include <pthread.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <future>
#include <stdexcept>
#include <utility>
#include <variant>

namespace platform::x11 {
namespace {

/// The process's end does not wait longer for a server that does not answer.
constexpr std::chrono::seconds maxEnd{1};
/// Events that are carried out before there is another look at whether the end has come.
constexpr int maxAtOnce = 256;

} // namespace

std::unique_ptr<EventThread> EventThread::start() {
    auto connection = Connection::open();
    if (!connection || !connection->has(&xcb_test_id))
        return nullptr;
    const auto devices = findInputDevices(*connection);
    if (!devices)
        return nullptr;
    try {
        return std::unique_ptr<EventThread>(new EventThread(std::move(connection), *devices));
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

EventThread::EventThread(std::unique_ptr<Connection> open, const InputDevices& devices)
    : connection(std::move(open)),
      loop(*connection),
      pointer(*connection, loop.handlers()),
      keyboard(*connection, devices.keyboard, loop.handlers()),
      typer(keyboard),
      people(*connection, devices, loop.handlers(), [this](bool pressed) { yieldTo(pressed); }),
      inputMethods(connection->atom("XIM_SERVERS")),
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
        roundTrip(*connection);
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

EventLoop::Rest EventThread::makeTurn(MediaTime now) {
    performDue();
    unfinished = queue.size();
    auto due = people.look(now);
    const auto next = queue.empty() ? typer.unbindWhenUnused(now) : queue.dueAt();
    if (next && (!due || *next < *due))
        due = next;
    return {.until = due};
}

void EventThread::performDue() {
    bool any = false;
    for (int count = 0; count < maxAtOnce; ++count) {
        const auto* const entry = queue.due(hostTime());
        if (!entry)
            break;
        any = true;
        // Between two portions of a long text the end may come, or a person who begins to type.
        const bool endsTurn = std::holds_alternative<InputQueue::Text>(*entry);
        std::visit([this](const auto& each) { perform(each); }, *entry);
        if (endsTurn)
            break;
    }
    if (!any)
        return;
    settle();
    pointer.mayHaveMoved();
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
    queue.setPace(inputMethodRuns() ? InputQueue::paceOfInputMethods : InputQueue::Pace{});
    performed(typer.tap(tap.key, tap.flags));
}

void EventThread::perform(const InputQueue::Text& text) {
    queue.setPace(inputMethodRuns() ? InputQueue::paceOfInputMethods : InputQueue::Pace{});
    performed(typer.type(queue.portion(), text.flags, queue.maxKeysAtOnce()));
}

void EventThread::perform(const InputQueue::Marker& marker) {
    settle();
    marker.reached();
    queue.done(hostTime());
}

void EventThread::performed(TextTyper::Outcome outcome) {
    if (outcome.symbols > 0)
        queue.done(hostTime(), outcome.symbols);
    else
        queue.wait(outcome.notBefore);
}

bool EventThread::inputMethodRuns() const {
    const auto servers = reply(
        *connection, xcb_get_property_reply,
        xcb_get_property(*connection, 0, connection->root(), inputMethods, XCB_ATOM_ATOM, 0, 1));
    return servers && servers->value_len > 0;
}

/// Gives up what is queued or held for somebody who has pressed, or only moved, something.
void EventThread::yieldTo(bool pressed) {
    const std::chrono::duration<double> sincePosted = hostTime() - lastPosted;
    if (!(sincePosted.count() > secondsOfEcho))
        return;
    if (pressed)
        queue.clear();
    if (pointer.releaseAll())
        settle();
}

void EventThread::settle() {
    const auto question = xcb_get_input_focus(*connection);
    // What comes from somebody else after this carries the number of a later request.
    people.made(question.sequence - 1);
    reply(*connection, xcb_get_input_focus_reply, question);
}

} // namespace platform::x11
