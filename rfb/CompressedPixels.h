#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// CPIXELs, as ZRLE calls them: pixels without their unused byte, that is blue, green, red.
namespace orvel {

constexpr std::size_t cpixelSize = 3;

/// The pixel that lies in memory as these bytes and an alpha of 255, whatever the byte order.
inline std::uint32_t expandedPixel(const std::uint8_t* cpixel) {
    return std::bit_cast<std::uint32_t>(
        std::array<std::uint8_t, 4>{cpixel[0], cpixel[1], cpixel[2], 255});
}

/// Expands `count` of them. Reads and writes no byte beyond those.
void expandPixels(const std::uint8_t* cpixels, std::uint32_t* pixels, std::size_t count);

} // namespace orvel
