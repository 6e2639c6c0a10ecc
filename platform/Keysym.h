#pragma once

#include <cstdint>

namespace platform {

/// What a key means, on X servers and in RFB alike (X11 protocol, appendix A).
using Keysym = std::uint32_t;

/// The keysym of a character: its own number where Latin-1 has it, 0x01000000 and its number
/// beyond. What keys such as Return give counts as no character here.
constexpr Keysym characterKeysym(char32_t character) {
    const bool latin1 =
        (character >= 0x20 && character <= 0x7e) || (character >= 0xa0 && character <= 0xff);
    return latin1 ? character : 0x01000000 + character;
}

} // namespace platform
