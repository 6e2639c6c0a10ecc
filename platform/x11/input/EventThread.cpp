#include "platform/x11/input/EventThread.h"

#include <pthread.h>
#include <xcb/xtest.h>

#include <future>
#include <stdexcept>
#include <utility>

namespace platform::x11 {
namespace {

/// The process's end does not wait longer for a server that does not answer.
constexpr std::chrono::seconds maxEnd{1};

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
      handlers(*connection),
      loop(handlers),
      pointer(*connection, handlers),
      keyboard(*connection, devices.keyboard, handlers),
      inputMethods(connection->atom("XIM_SERVERS")),
      performer(pointer, keyboard,
                {.pace =
                     [this] {
                         return inputMethodRuns() ? InputQueue::paceOfInputMethods
                                                  : InputQueue::Pace{};
                     },
                 .settle = [this] { settle(); }}),
      people(*connection, devices, handlers, [this](bool pressed) { performer.yieldTo(pressed); }),
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

EventLoop::Rest EventThread::makeTurn(MediaTime now) {
    if (performer.performDue().any) {
        settle();
        pointer.mayHaveMoved();
    }
    unfinished = performer.waiting();
    auto due = people.doWhatIsDue(now);
    const auto next = performer.nextTurn(now);
    if (next && (!due || *next < *due))
        due = next;
    return {.until = due};
}

bool EventThread::inputMethodRuns() const {
    const auto servers = reply(
        *connection, xcb_get_property_reply,
        xcb_get_property(*connection, 0, connection->root(), inputMethods, XCB_ATOM_ATOM, 0, 1));
    return servers && servers->value_len > 0;
}

void EventThread::settle() {
    const auto question = xcb_get_input_focus(*connection);
    // What comes from somebody else after this carries the number of a later request.
    people.made(question.sequence - 1);
    reply(*connection, xcb_get_input_focus_reply, question);
}

} // namespace platform::x11
