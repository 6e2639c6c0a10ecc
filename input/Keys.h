#pragma once

#include "platform/Events.h"

#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// What the phone's "press" and "text" messages become. Pure: the events are for the caller to
/// post, in this order.
struct Keys {
    Keys() = delete;

    /// One key with modifiers ("cmd", "option", "ctrl", "shift", "fn"; others count for nothing).
    /// A key that has a name ("return", "f1") or a plain place on an ANSI keyboard is pressed as
    /// that key, so that shortcuts work; anything else is typed as text.
    static std::vector<platform::KeyboardEvent> key(std::string_view key,
                                                    const std::vector<std::string>& mods);

    /// A text of any length, in events of `TextChunks::maxUnits` units.
    static std::vector<platform::KeyboardEvent> type(std::string_view text,
                                                     platform::EventFlags flags);
};

} // namespace orvel
