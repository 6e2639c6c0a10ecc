#include "platform/x11/input/EventThread.h"

#include <pthread.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <utility>
#include <variant>

namespace platform::x11 {
namespace {

using namespace std::chrono_literals;

/// Bindings stay this long after the last text: somebody may be typing letter by letter, and each
/// change of the keymap costs every client a fetch of it.
constexpr auto linger = 2s;
/// At the end clients get no longer than this to look up the characters typed last.
constexpr auto maxWaitForClients = 500ms;
/// Nor does the process's end wait longer for a server that does not answer.
constexpr auto maxEnd = 1s;
/// Events that wait; a phone sends about a hundred a second, so the server has been stuck for long.
constexpr std::size_t maxQueued = 65536;
/// Events that are carried out before there is another look at whether the end has come.
constexpr int maxAtOnce = 256;

} // namespace

std::unique_ptr<EventThread> EventThread::start() {
    auto connection = Connection::open();
    if (!connection || !connection->has(&xcb_test_id))
        return nullptr;
    const auto devices = findInputDevices(*connection);
    return devices ? std::make_unique<EventThread>(std::move(connection), *devices) : nullptr;
}

EventThread::EventThread(std::unique_ptr<Connection> owned, const InputDevices& devices)
    : connection(std::move(owned)),
      keyboard(Keyboard::create(*connection, devices.keyboard)),
      typer(keyboard ? std::make_unique<TextTyper>(*keyboard) : nullptr),
      pointer(*connection),
      people(*connection, devices),
      inputMethods(connection->atom("XIM_SERVERS")),
      server(loop, xcb_get_file_descriptor(*connection)),
      timer(loop),
      thread([this] {
          pthread_setname_np(pthread_self(), "orvel.events");
          run();
      }),
      atExit([this] { end(); }) {}

EventThread::~EventThread() {
    end();
    thread.join();
    server.release(); // The descriptor is the connection's.
}

bool EventThread::post(const InputQueue::Event& event) {
    const std::lock_guard locked(lock);
    if (queued + posted.size() >= maxQueued)
        return false;
    posted.push_back(event);
    lastPosted = Clock::now();
    return true;
}

void EventThread::flush() {
    if (!workPending.exchange(true))
        asio::post(loop, [this] {
            workPending = false;
            work();
        });
}

void EventThread::finish(std::chrono::milliseconds limit) {
    std::unique_lock locked(lock);
    const auto done = finishers.emplace_back().get_future();
    locked.unlock();
    flush();
    done.wait_for(limit);
}

void EventThread::run() {
    waitForServer();
    flush();
    const auto keepRunning = asio::make_work_guard(loop);
    loop.run();
}

void EventThread::waitForServer() {
    server.async_wait(asio::posix::stream_descriptor::wait_read, [this](const auto& error) {
        if (error || connection->lost())
            return;
        work();
        waitForServer();
    });
}

void EventThread::work() {
    takePosted();
    takeEvents();
    performSome();
    waitForMore();
}

void EventThread::takePosted() {
    const std::lock_guard locked(lock);
    for (const auto& event : posted)
        queue.push(event);
    posted.clear();
}

void EventThread::performSome() {
    bool any = false;
    for (int count = 0; count < maxAtOnce && !ending; ++count) {
        const auto* const entry = queue.due(Clock::now());
        if (!entry)
            break;
        any = true;
        std::visit([&](const auto& event) { perform(event); }, *entry);
    }
    if (!any)
        return;
    settle();
    pointer.mayHaveMoved();
    takeEvents();
}

void EventThread::waitForMore() {
    {
        const std::lock_guard locked(lock);
        queued = queue.size();
        if (queue.empty() && posted.empty())
            for (auto& finisher : std::exchange(finishers, {}))
                finisher.set_value();
    }
    const auto now = Clock::now();
    auto due = Clock::time_point::max();
    if (!queue.empty())
        due = queue.dueAt();
    else if (typer && typer->anyBound())
        due = unbindWhenUnused(now);
    if (people.needsPolling())
        due = std::min(due, now + PersonWatch::pollInterval);
    if (due <= now)
        flush();
    else if (due != Clock::time_point::max())
        wakeAt(due);
}

void EventThread::wakeAt(Clock::time_point time) {
    timer.expires_at(time);
    timer.async_wait([this](const auto& error) {
        if (error)
            return;
        if (people.needsPolling())
            yieldTo(people.poll());
        work();
    });
}

EventThread::Clock::time_point EventThread::unbindWhenUnused(Clock::time_point now) {
    const auto due = std::max(typer->releasable(), lastTyped + linger);
    if (due > now)
        return due;
    typer->unbind();
    settle();
    return Clock::time_point::max();
}

void EventThread::takeEvents() {
    auto input = PersonWatch::Input::none;
    while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(*connection)}) {
        pointer.handle(*event);
        if (keyboard)
            keyboard->handle(*event);
        input = std::max(input, people.handle(*event));
    }
    yieldTo(input);
}

void EventThread::yieldTo(PersonWatch::Input input) {
    const std::chrono::duration<double> sincePosted = Clock::now() - lastPosted.load();
    if (input == PersonWatch::Input::none || !(sincePosted.count() > secondsOfEcho))
        return;
    if (input == PersonWatch::Input::pressed)
        queue.clear();
    if (!pointer.holdsAny())
        return;
    pointer.releaseAll();
    settle();
}

void EventThread::settle() {
    // What comes from somebody else later carries the number of a later request.
    people.made(xcb_no_operation(*connection).sequence - 1);
    roundTrip(*connection);
}

void EventThread::perform(const MouseEvent& event) {
    switch (event.type) {
    case MouseEventType::leftDown:
    case MouseEventType::rightDown:
    case MouseEventType::otherDown:
        pointer.button(event.button, true, event.location);
        break;
    case MouseEventType::leftUp:
    case MouseEventType::rightUp:
    case MouseEventType::otherUp:
        pointer.button(event.button, false, event.location);
        break;
    default:
        pointer.moveTo(event.location);
    }
    queue.done(Clock::now());
}

void EventThread::perform(const ScrollWheelEvent& event) {
    pointer.scroll(event.wheel1, event.wheel2, event.location);
    queue.done(Clock::now());
}

void EventThread::perform(const InputQueue::Tap& tap) {
    lookForInputMethod();
    performed(typer ? typer->tap(tap.key, tap.flags) : TextTyper::Outcome{1, {}});
}

void EventThread::perform(const InputQueue::Text& text) {
    lookForInputMethod();
    const auto portion = queue.portion();
    performed(typer ? typer->type(portion, text.flags, queue.maxKeysAtOnce())
                    : TextTyper::Outcome{portion.size(), {}});
    // So that a person who begins to type is noticed in the middle of a long text.
    settle();
    takeEvents();
}

void EventThread::performed(TextTyper::Outcome outcome) {
    lastTyped = Clock::now();
    if (outcome.symbols > 0)
        queue.done(lastTyped, outcome.symbols);
    else
        queue.wait(outcome.notBefore);
}

void EventThread::lookForInputMethod() {
    const auto servers = reply(
        *connection, xcb_get_property_reply,
        xcb_get_property(*connection, 0, connection->root(), inputMethods, XCB_ATOM_ATOM, 0, 1));
    queue.setPaced(servers && servers->value_len > 0);
}

void EventThread::leaveNothingBehind() {
    pointer.releaseAll();
    if (typer && typer->anyBound()) {
        std::this_thread::sleep_until(
            std::min(typer->releasable(), Clock::now() + maxWaitForClients));
        typer->unbind();
    }
    roundTrip(*connection);
}

void EventThread::end() {
    if (!ending.exchange(true))
        asio::post(loop, [this] {
            leaveNothingBehind();
            loop.stop();
            ended.set_value();
        });
    ended.get_future().wait_for(maxEnd);
}

} // namespace platform::x11
