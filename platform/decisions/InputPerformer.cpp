#include "platform/decisions/InputPerformer.h"

#include <chrono>
#include <thread>
#include <utility>
#include <variant>

namespace platform {
namespace {

/// Events that are carried out in one turn.
constexpr int maxAtOnce = 256;

} // namespace

InputPerformer::InputPerformer(PointerDevice& pointer, KeyboardDevice& keyboard, Desktop desktop)
    : pointer(pointer),
      typer(keyboard),
      desktop(std::move(desktop)) {}

void InputPerformer::push(const std::vector<InputQueue::Event>& events) {
    for (const auto& event : events)
        queue.push(event);
    lastPushed = hostTime();
}

InputPerformer::Done InputPerformer::performDue() {
    done = {};
    for (int count = 0; count < maxAtOnce; ++count) {
        const auto* const entry = queue.due(hostTime());
        if (!entry)
            break;
        done.any = true;
        // Between two portions of a long text the end may come, or a person who begins to type.
        const bool endsTurn = std::holds_alternative<InputQueue::Text>(*entry);
        std::visit([this](const auto& each) { perform(each); }, *entry);
        if (endsTurn)
            break;
    }
    return done;
}

std::optional<MediaTime> InputPerformer::nextTurn(MediaTime now) {
    return queue.empty() ? typer.unbindWhenUnused(now) : queue.dueAt();
}

void InputPerformer::yieldTo(bool pressed) {
    const std::chrono::duration<double> sincePushed = hostTime() - lastPushed;
    if (!(sincePushed.count() > secondsOfEcho))
        return;
    if (pressed)
        queue.clear();
    if (pointer.releaseAll())
        desktop.settle();
}

void InputPerformer::end() {
    if (pointer.releaseAll())
        desktop.settle();
    std::this_thread::sleep_for(typer.timeBeforeEnd());
    typer.unbind();
    desktop.settle();
}

void InputPerformer::perform(const MouseEvent& event) {
    pointer.perform(event);
    queue.done(hostTime());
}

void InputPerformer::perform(const ScrollWheelEvent& event) {
    pointer.perform(event);
    queue.done(hostTime());
}

void InputPerformer::perform(const InputQueue::Tap& tap) {
    queue.setPace(desktop.pace());
    performed(typer.tap(tap.key, tap.flags));
}

void InputPerformer::perform(const InputQueue::Text& text) {
    queue.setPace(desktop.pace());
    performed(typer.type(queue.portion(), text.flags, queue.maxKeysAtOnce()));
}

void InputPerformer::perform(const InputQueue::Marker& marker) {
    desktop.settle();
    marker.reached();
    queue.done(hostTime());
}

void InputPerformer::performed(TextTyper::Outcome outcome) {
    done.keys += outcome.symbols;
    if (outcome.symbols > 0)
        queue.done(hostTime(), outcome.symbols);
    else
        queue.wait(outcome.notBefore);
}

} // namespace platform
