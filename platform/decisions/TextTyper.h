#pragma once

#include "platform/Clock.h"
#include "platform/Events.h"
#include "platform/decisions/KeyboardDevice.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>

namespace platform {

/// Types texts and presses keys on a keyboard, whatever it has on its keys. Belongs to one thread.
class TextTyper {
public:
    /// The keyboard outlives the object.
    explicit TextTyper(KeyboardDevice& keyboard);

    struct Outcome {
        std::size_t symbols = 0; ///< How many have been typed.
        MediaTime notBefore;     ///< If none: when to try again.
    };
    /// Types the beginning of a text, no more than `maxSymbols` of it; the rest helps to plan. The
    /// modifiers in `flags` are held meanwhile; not Shift, as the characters say where it is
    /// needed.
    Outcome type(std::span<const Keysym> text, EventFlags flags, std::size_t maxSymbols);
    /// Presses and releases a key with its modifiers. Letters are meant as characters, whatever
    /// Caps Lock says, unless they are part of a shortcut.
    Outcome tap(VirtualKey key, EventFlags flags);

    /// Gives the user's keymap back as it was, once nothing has been typed for a while; returns
    /// when to call it again, if ever.
    std::optional<MediaTime> unbindWhenUnused(MediaTime now);
    /// The same at once. At the end clients should get `timeBeforeEnd` to look up what was typed
    /// last.
    void unbind();
    std::chrono::nanoseconds timeBeforeEnd() const;

private:
    Outcome press(KeyPlanner::Batch batch, EventFlags flags, std::size_t maxSymbols);
    KeyPlanner::Batch plan(std::span<const Keysym> text, Locks locks) const;
    void refresh();

    KeyboardDevice& keyboard;
    KeyPlanner planner;
    MediaTime lastTyped;
};

} // namespace platform
