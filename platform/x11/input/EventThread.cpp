#include "platform/x11/input/EventThread.h"

#include <pthread.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

namespace platform::x11 {
namespace {

using namespace std::chrono_literals;

/// Bindings stay this long after the last text: somebody may be typing letter by letter, and each
/// change of the keymap costs every client a fetch of it.
constexpr auto linger = 2s;
/// At the end clients get no longer than this to look up the characters typed last.
constexpr auto longestFarewell = 500ms;
/// Nor does the process's end wait longer for a server that does not answer.
constexpr auto longestEnd = 1s;
/// Events that wait behind a text; beyond it `post` waits. A phone sends about a hundred a second.
constexpr std::size_t mostWaiting = 8192;
/// Characters that go to the server without a look at whether the end has come: for a whole long
/// text the end would not wait, and leave a key pressed in the middle of it.
constexpr std::size_t mostAtOnce = 256;
/// How far apart the server's time of an input and ours may be: it counts milliseconds, and asking
/// takes a moment.
constexpr auto clockTolerance = 20ms;
/// How often a client that is waited for is looked at; a new batch of characters costs it more.
constexpr auto pauseForClient = 5ms;

/// Unpaired surrogates stay what they are; no key gives them.
std::vector<Keysym> symbolsOf(std::u16string_view units) {
    std::vector<Keysym> symbols;
    for (std::size_t at = 0; at < units.size(); ++at) {
        char32_t character = units[at];
        const char32_t following = at + 1 < units.size() ? units[at + 1] : 0;
        if (character >= 0xd800 && character < 0xdc00 && following >= 0xdc00 &&
            following < 0xe000) {
            character = 0x10000 + ((character - 0xd800) << 10) + (following - 0xdc00);
            ++at;
        } else if (character == '\r' && following == '\n') {
            ++at; // one line end
        }
        if (const auto symbol = keysymOf(character))
            symbols.push_back(*symbol);
    }
    return symbols;
}

const KeyboardEvent* textOf(const EventThread::Event& event) {
    const auto* key = std::get_if<KeyboardEvent>(&event);
    return key && !key->unicodeString.empty() ? key : nullptr;
}

} // namespace

EventThread::EventThread(const Connection& connection, std::unique_ptr<Keyboard> owned)
    : connection(connection),
      keyboard(std::move(owned)),
      pointer(connection),
      thread([this] {
          pthread_setname_np(pthread_self(), "orvel.events");
          run();
      }),
      atExit([this] { end(); }) {}

EventThread::~EventThread() {
    end();
    thread.join();
}

bool EventThread::post(Event event) {
    const auto* text = textOf(event);
    if (text && !text->keyDown)
        return keyboard != nullptr; // Its text was typed when the key went down.
    std::unique_lock locked(lock);
    changed.wait(locked, [&] { return ending || queue.size() < mostWaiting; });
    if (ending)
        return false;
    if (text || trusted > 0) {
        ++trusted;
        lastTrusted = Clock::now();
        queue.push_back({std::move(event), nullptr});
        changed.notify_all();
        return true;
    }
    std::promise<bool> carriedOut;
    auto answer = carriedOut.get_future();
    queue.push_back({std::move(event), &carriedOut});
    changed.notify_all();
    locked.unlock();
    return answer.get();
}

void EventThread::finish(std::chrono::milliseconds limit) {
    std::unique_lock locked(lock);
    changed.wait_for(locked, limit, [&] { return trusted == 0 || ending; });
}

EventThread::Clock::time_point EventThread::countsFrom(Clock::time_point time) {
    const std::lock_guard locked(lock);
    const bool arrivedLate = sending || (sent && time <= *sent + clockTolerance);
    return arrivedLate ? std::min(time, lastTrusted) : time;
}

void EventThread::run() {
    while (const auto job = next()) {
        const bool taken = perform(*job);
        if (job->carriedOut)
            job->carriedOut->set_value(taken);
    }
    leaveNothingBehind();
}

std::optional<EventThread::Job> EventThread::next() {
    std::unique_lock locked(lock);
    while (queue.empty() && !ending)
        waitIdle(locked);
    if (ending)
        return std::nullopt;
    auto job = std::move(queue.front());
    queue.pop_front();
    changed.notify_all();
    return job;
}

void EventThread::waitIdle(std::unique_lock<std::mutex>& locked) {
    if (!keyboard || !keyboard->anyBound()) {
        changed.wait(locked);
        return;
    }
    const auto due = std::max(keyboard->releasable(), lastTyped + linger);
    if (changed.wait_until(locked, due) == std::cv_status::no_timeout)
        return;
    locked.unlock();
    keyboard->unbind();
    locked.lock();
}

void EventThread::leaveNothingBehind() {
    pointer.releaseAll();
    if (keyboard) {
        keyboard->releaseAll();
        if (keyboard->anyBound()) {
            std::this_thread::sleep_until(
                std::min(keyboard->releasable(), Clock::now() + longestFarewell));
            keyboard->unbind();
        }
    }
    roundTrip(connection);
    const std::lock_guard locked(lock);
    for (const auto& job : queue)
        if (job.carriedOut)
            job.carriedOut->set_value(false);
    ended = true;
    changed.notify_all();
}

void EventThread::end() {
    std::unique_lock locked(lock);
    ending = true;
    changed.notify_all();
    changed.wait_for(locked, longestEnd, [&] { return ended; });
}

bool EventThread::perform(const Job& job) {
    const auto carryOut = [&](const auto& event) { return perform(event); };
    if (job.carriedOut)
        return std::visit(carryOut, job.event);
    const bool isText = textOf(job.event) != nullptr;
    if (!isText)
        noteSending(true);
    const bool taken = std::visit(carryOut, job.event);
    if (!isText)
        noteSending(false);
    const std::lock_guard locked(lock);
    --trusted;
    changed.notify_all();
    return taken;
}

void EventThread::noteSending(bool now) {
    const std::lock_guard locked(lock);
    sending = now;
    sent = Clock::now();
}

bool EventThread::perform(const MouseEvent& event) {
    switch (event.type) {
    case MouseEventType::leftDown:
    case MouseEventType::rightDown:
    case MouseEventType::otherDown:
        return pointer.button(event.button, true, event.location);
    case MouseEventType::leftUp:
    case MouseEventType::rightUp:
    case MouseEventType::otherUp:
        return pointer.button(event.button, false, event.location);
    default:
        return pointer.moveTo(event.location);
    }
}

bool EventThread::perform(const ScrollWheelEvent& event) {
    return pointer.scroll(event.wheel1, event.wheel2, event.location);
}

bool EventThread::perform(const KeyboardEvent& event) {
    if (!keyboard)
        return false;
    if (!event.unicodeString.empty())
        return type(event);
    if (!event.keyDown) {
        keyboard->release(event.virtualKey);
        return roundTrip(connection);
    }
    const auto batch = plan([&] { return keyboard->plan(event.virtualKey, event.flags); });
    if (!batch)
        return false;
    keyboard->press(event.virtualKey, *batch, event.flags);
    return roundTrip(connection);
}

bool EventThread::type(const KeyboardEvent& event) {
    auto symbols = symbolsOf(event.unicodeString);
    std::size_t typed = 0;
    while (true) {
        takeMore(symbols, event.flags);
        const auto rest = std::span(symbols).subspan(typed);
        if (rest.empty())
            return !connection.lost();
        const auto part = rest.first(std::min(rest.size(), mostAtOnce));
        const auto batch = plan([&] { return keyboard->plan(part); });
        if (!batch || connection.lost())
            return false;
        noteSending(true);
        keyboard->type(*batch, event.flags);
        const bool taken = roundTrip(connection);
        noteSending(false);
        if (!taken)
            return false;
        lastTyped = Clock::now();
        typed += batch->symbols;
    }
}

template<class Plan>
std::optional<Keyboard::Batch> EventThread::plan(Plan make) {
    while (true) {
        auto batch = make();
        const auto now = Clock::now();
        // In steps, because the client may be ready sooner.
        if (!pauseUntil(std::min(batch.notBefore, now + pauseForClient)))
            return std::nullopt;
        if (batch.notBefore <= now)
            return batch;
    }
}

void EventThread::takeMore(std::vector<Keysym>& symbols, EventFlags flags) {
    const std::lock_guard locked(lock);
    while (!queue.empty()) {
        const auto* text = textOf(queue.front().event);
        if (!text || text->flags != flags)
            break;
        std::ranges::copy(symbolsOf(text->unicodeString), std::back_inserter(symbols));
        queue.pop_front();
        --trusted;
        changed.notify_all();
    }
}

bool EventThread::pauseUntil(Clock::time_point time) {
    std::unique_lock locked(lock);
    changed.wait_until(locked, time, [&] { return ending; });
    return !ending;
}

} // namespace platform::x11
