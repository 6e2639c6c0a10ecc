#pragma once

#include <array>
#include <cstdint>
#include <span>

/// Integers in network byte order.
namespace orvel {

/// The lowest 16 bits of the value.
constexpr std::array<std::uint8_t, 2> be16(int value) {
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

constexpr std::array<std::uint8_t, 4> be32(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

constexpr std::array<std::uint8_t, 8> be64(std::uint64_t value) {
    std::array<std::uint8_t, 8> bytes{};
    for (auto at = bytes.rbegin(); at != bytes.rend(); ++at, value >>= 8)
        *at = static_cast<std::uint8_t>(value);
    return bytes;
}

/// The value of up to four bytes.
constexpr std::uint32_t fromBigEndian(std::span<const std::uint8_t> bytes) {
    std::uint32_t value = 0;
    for (const auto byte : bytes)
        value = value << 8 | byte;
    return value;
}

} // namespace orvel
