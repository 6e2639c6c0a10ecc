#include "platform/decisions/TextTyper.h"

#include "platform/decisions/KeyTable.h"

#include <algorithm>
#include <array>
#include <utility>

namespace platform {
namespace {

constexpr EventFlags shortcutFlags = flag::control | flag::option | flag::command;

bool isLetter(Keysym symbol) {
    return symbol >= 'a' && symbol <= 'z';
}

Keysym upperCase(Keysym letter) {
    return letter - 'a' + 'A';
}

} // namespace

TextTyper::TextTyper(KeyboardDevice& keyboard) : keyboard(keyboard) {
    planner.setSpares(keyboard.spares());
}

TextTyper::Outcome TextTyper::type(std::span<const Keysym> text, EventFlags flags,
                                   std::size_t maxSymbols) {
    refresh();
    return press(plan(text, keyboard.prepare()), flags, maxSymbols);
}

TextTyper::Outcome TextTyper::tap(VirtualKey key, EventFlags flags) {
    const auto symbol = symbolOf(key);
    if (!symbol)
        return {1, {}};
    refresh();
    auto locks = keyboard.prepare();
    const bool isText = isLetter(*symbol) && (flags & shortcutFlags) == 0;
    if (!isText)
        locks.modifiers &= static_cast<std::uint8_t>(~Locks::capsLock);
    const bool shifted = (flags & flag::shift) != 0;
    auto batch = plan(std::array{isText && shifted ? upperCase(*symbol) : *symbol}, locks);
    if (!isText && shifted)
        for (auto& stroke : batch.strokes)
            if (stroke)
                stroke->held |= Stroke::shift;
    return press(std::move(batch), flags, 1);
}

void TextTyper::unbind() {
    keyboard.refresh();
    keyboard.unbind();
    planner.released();
}

TextTyper::Outcome TextTyper::press(KeyPlanner::Batch batch, EventFlags flags,
                                    std::size_t maxSymbols) {
    const auto now = KeyPlanner::Clock::now();
    if (batch.notBefore > now)
        return {0, batch.notBefore};
    batch.strokes.resize(std::min(batch.strokes.size(), maxSymbols));
    // A shortcut without its modifier would be a letter that nobody has typed.
    if (const auto held = keyboard.keyMap().shortcutKeys(flags)) {
        keyboard.bind(batch.bindings);
        keyboard.tap(batch.strokes, *held);
        planner.pressed(batch, now);
    }
    return {batch.strokes.size(), {}};
}

KeyPlanner::Batch TextTyper::plan(std::span<const Keysym> text, Locks locks) const {
    return planner.next(
        text, [&](Keysym symbol) { return keyboard.keyMap().find(symbol, locks); },
        KeyPlanner::Clock::now());
}

void TextTyper::refresh() {
    if (keyboard.refresh())
        planner.setSpares(keyboard.spares());
}

} // namespace platform
