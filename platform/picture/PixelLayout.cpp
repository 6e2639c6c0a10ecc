#include "platform/picture/PixelLayout.h"

#include <cstddef>
#include <cstring>

namespace platform::picture {
namespace {

constexpr std::uint32_t opaque = 0xFF000000;

/// The upper bits of a channel fill up the lower ones, so that the largest value becomes 255.
std::uint32_t from565(std::uint16_t pixel) {
    const std::uint32_t red = pixel >> 11U;
    const std::uint32_t green = (pixel >> 5U) & 0x3FU;
    const std::uint32_t blue = pixel & 0x1FU;
    return opaque | (red << 3U | red >> 2U) << 16U | (green << 2U | green >> 4U) << 8U |
           (blue << 3U | blue >> 2U);
}

std::uint32_t from101010(std::uint32_t pixel) {
    return opaque | (pixel >> 22U & 0xFFU) << 16U | (pixel >> 12U & 0xFFU) << 8U |
           (pixel >> 2U & 0xFFU);
}

std::uint32_t withRedAndBlueSwapped(std::uint32_t pixel) {
    return opaque | (pixel & 0xFFU) << 16U | (pixel & 0xFF00U) | (pixel >> 16U & 0xFFU);
}

template<class Pixel, class Conversion>
void convertEach(const std::uint8_t* from, int pixels, std::uint8_t* bgra, Conversion conversion) {
    for (int x = 0; x < pixels; ++x) {
        Pixel pixel{};
        std::memcpy(&pixel, from + static_cast<std::ptrdiff_t>(x) * std::ptrdiff_t{sizeof pixel},
                    sizeof pixel);
        const std::uint32_t converted = conversion(pixel);
        std::memcpy(bgra + static_cast<std::ptrdiff_t>(x) * 4, &converted, sizeof converted);
    }
}

} // namespace

void convertRow(PixelLayout layout, const std::uint8_t* from, int pixels, std::uint8_t* bgra) {
    switch (layout) {
    case PixelLayout::bgrx8888:
        std::memcpy(bgra, from, static_cast<std::size_t>(pixels) * 4);
        break;
    case PixelLayout::rgbx8888:
        convertEach<std::uint32_t>(from, pixels, bgra, withRedAndBlueSwapped);
        break;
    case PixelLayout::rgb565:
        convertEach<std::uint16_t>(from, pixels, bgra, from565);
        break;
    case PixelLayout::rgb101010:
        convertEach<std::uint32_t>(from, pixels, bgra, from101010);
        break;
    case PixelLayout::bgr101010:
        convertEach<std::uint32_t>(from, pixels, bgra, [](std::uint32_t pixel) {
            return withRedAndBlueSwapped(from101010(pixel));
        });
        break;
    }
}

} // namespace platform::picture
