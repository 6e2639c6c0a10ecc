#include "platform/decisions/TextTyper.h"

#include "platform/decisions/KeyTable.h"

#include <algorithm>
#include <array>
#include <utility>

namespace platform {
namespace {

using namespace std::chrono_literals;

/// Bindings stay this long after the last text: somebody may be typing letter by letter, and each
/// change of the keymap costs every client a fetch of it.
constexpr auto linger = 2s;
/// The end does not wait longer than this for clients to look up the characters typed last.
constexpr std::chrono::nanoseconds maxTimeBeforeEnd = 500ms;

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
    const auto locks = keyboard.prepare();
    const bool isText = isLetter(*symbol) && (flags & shortcutFlags) == 0;
    const bool shifted = (flags & flag::shift) != 0;
    auto batch = plan(std::array{isText && shifted ? upperCase(*symbol) : *symbol}, locks);
    if (!isText && shifted)
        for (auto& stroke : batch.strokes)
            if (stroke)
                stroke->held |= Stroke::shift;
    return press(std::move(batch), flags, 1);
}

std::optional<MediaTime> TextTyper::unbindWhenUnused(MediaTime now) {
    if (!planner.anyBound())
        return std::nullopt;
    const auto due = std::max(planner.releasable(), lastTyped + linger);
    if (due > now)
        return due;
    unbind();
    return std::nullopt;
}

void TextTyper::unbind() {
    if (!planner.anyBound())
        return;
    keyboard.refresh();
    keyboard.unbind();
    planner.released();
}

std::chrono::nanoseconds TextTyper::timeBeforeEnd() const {
    return std::clamp(planner.releasable() - hostTime(), 0ns, maxTimeBeforeEnd);
}

TextTyper::Outcome TextTyper::press(KeyPlanner::Batch batch, EventFlags flags,
                                    std::size_t maxSymbols) {
    const auto now = hostTime();
    lastTyped = now;
    if (batch.notBefore > now)
        return {0, batch.notBefore};
    batch.strokes.resize(std::min(batch.strokes.size(), maxSymbols));
    // A shortcut without its modifier would be a letter that nobody has typed.
    if (const auto held = keyboard.keyMap().shortcutKeys(flags)) {
        keyboard.bind(batch.bindings);
        keyboard.tap(batch.strokes, *held);
        const bool usesSpares = planner.anyBound() || !batch.bindings.empty();
        planner.pressed(batch, now, !usesSpares || keyboard.readersLag());
    }
    return {batch.strokes.size(), {}};
}

KeyPlanner::Batch TextTyper::plan(std::span<const Keysym> text, Locks locks) const {
    return planner.next(
        text, [&](Keysym symbol) { return keyboard.keyMap().find(symbol, locks); }, hostTime());
}

void TextTyper::refresh() {
    if (keyboard.refresh())
        planner.setSpares(keyboard.spares());
}

} // namespace platform
