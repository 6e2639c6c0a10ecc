#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

namespace orvel {

/// The number that the whole text spells in decimal digits, with at most one sign in front (a
/// minus only for signed numbers) and no blanks; nullopt for any other text or beyond the range.
template<std::integral Number>
std::optional<Number> decimal(std::string_view text) {
    // from_chars knows no plus sign, but people do.
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    Number number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || stop != text.data() + text.size())
        return std::nullopt;
    return number;
}

} // namespace orvel
