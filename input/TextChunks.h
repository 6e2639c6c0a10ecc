#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// Cuts a text to the size of keyboard events.
struct TextChunks {
    TextChunks() = delete;

    /// UTF-16 units a keyboard event carries.
    static constexpr std::size_t maxUnits = 16;

    /// The text in consecutive pieces of at most `maxUnits` units (2 or more, else throws
    /// std::invalid_argument), none empty. A piece ends where a user-perceived character ends; only
    /// one longer than a piece is cut, between Unicode scalars. `text` is UTF-8.
    static std::vector<std::u16string> split(std::string_view text,
                                             std::size_t maxUnits = TextChunks::maxUnits);
};

} // namespace orvel
