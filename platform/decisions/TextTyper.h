#pragma once

#include "platform/Events.h"
#include "platform/decisions/KeyboardDevice.h"

#include <cstddef>
#include <span>

namespace platform {

/// Types texts and presses keys on a keyboard, whatever it has on its keys. Belongs to one thread.
class TextTyper {
public:
    using Time = KeyPlanner::Time;

    /// The keyboard outlives the object.
    explicit TextTyper(KeyboardDevice& keyboard);

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

    bool anyBound() const { return planner.anyBound(); }
    /// When clients can do without the bindings.
    Time releasable() const { return planner.releasable(); }
    /// Gives the user's keymap back as it was.
    void unbind();

private:
    Outcome press(KeyPlanner::Batch batch, EventFlags flags, std::size_t maxSymbols);
    KeyPlanner::Batch plan(std::span<const Keysym> text, Locks locks) const;
    void refresh();

    KeyboardDevice& keyboard;
    KeyPlanner planner;
};

} // namespace platform
