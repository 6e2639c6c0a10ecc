#pragma once

#include "platform/Events.h"
#include "platform/decisions/KeyPlanner.h"
#include "platform/x11/input/keyboard/Keyboard.h"

#include <cstddef>
#include <memory>
#include <span>

namespace platform::x11 {

/// Types texts and presses keys. Belongs to one thread.
class TextTyper {
public:
    using Time = KeyPlanner::Time;

    explicit TextTyper(std::unique_ptr<Keyboard> owned);

    struct Outcome {
        std::size_t symbols = 0; ///< That many have been typed; if none, they may be later:
        Time notBefore{};
    };
    /// Types the beginning of a text, no more than `maxSymbols` of it; the rest helps to plan. The
    /// modifiers in `flags` are held meanwhile; not Shift, as the characters say where it is
    /// needed.
    Outcome type(std::span<const Keysym> text, EventFlags flags, std::size_t maxSymbols);
    /// Presses and releases a key with its modifiers. Letters are meant as characters, whatever
    /// Caps Lock says, unless they are part of a shortcut.
    Outcome tap(VirtualKey key, EventFlags flags);

    void handle(const xcb_generic_event_t& event) { keyboard->handle(event); }

    bool anyBound() const { return planner.anyBound(); }
    /// When clients can do without the bindings.
    Time releasable() const { return planner.releasable(); }
    /// Gives the user's keymap back as it was.
    void unbind();

private:
    Outcome press(KeyPlanner::Batch batch, EventFlags flags, std::size_t maxSymbols);
    KeyPlanner::Batch plan(std::span<const Keysym> text, Locks locks) const;
    void refresh();

    std::unique_ptr<Keyboard> keyboard;
    KeyPlanner planner;
};

} // namespace platform::x11
