#pragma once

#include <cstdint>

namespace platform::picture {

/// How a screen keeps its pixels.
enum class PixelLayout {
    bgrx8888,  ///< 8 bits each of blue, green and red in 4 bytes: bgra as it is.
    rgbx8888,  ///< The same with red first.
    rgb565,    ///< 2 bytes: 5 bits of red at the top, 6 of green, 5 of blue.
    rgb101010, ///< 4 bytes: 10 bits each of red, green and blue, red at the top but for 2 bits.
    bgr101010  ///< The same with blue at the top.
};

constexpr int bitsPerPixel(PixelLayout layout) {
    return layout == PixelLayout::rgb565 ? 16 : 32;
}

/// Turns a row of little-endian pixels of any layout into bgra.
void convertRow(PixelLayout layout, const std::uint8_t* from, int pixels, std::uint8_t* bgra);

} // namespace platform::picture
