#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// What the phone's names of buttons, modifiers and keys are called in RFB: button mask bits
/// (RFC 6143, 7.5.5) and X11 keysyms (7.5.4). Names are matched exactly; an unknown one has
/// neither. All functions are pure.
namespace orvel {

/// The mask bit of "left", "middle" or "right".
std::optional<std::uint8_t> buttonMask(std::string_view name);

/// The keysym of "shift", "ctrl", "option" or "cmd".
std::optional<std::uint32_t> modifierKeysym(std::string_view name);

/// The keysym of a key by its name, such as "return" or "f5".
std::optional<std::uint32_t> namedKeysym(std::string_view name);

/// The keysym that types a character; line feed and tab are the keys Return and Tab.
std::uint32_t keysym(char32_t scalar);

} // namespace orvel
