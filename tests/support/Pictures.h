#pragma once

#include "platform/picture/VideoConverter.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace test {

/// A video420 frame whose pixel at x, y is the colour 0xRRGGBB that `colour(x, y)` gives.
template<class Colour>
std::shared_ptr<platform::PixelBuffer> painted(int width, int height, Colour colour) {
    std::vector<std::uint32_t> pixels;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels.push_back(colour(x, y));
    auto frame =
        std::make_shared<platform::PixelBuffer>(platform::PixelFormat::video420, width, height);
    platform::picture::VideoConverter converter(width, height, width, height);
    converter.convert(
        {reinterpret_cast<const std::uint8_t*>(pixels.data()), width * 4, width, height},
        {*frame, {0, 0, width, height}}, {0, 0, width, height});
    return frame;
}

/// A video420 frame no encoder can do much about: each pixel is random.
inline std::shared_ptr<platform::PixelBuffer> noise(int width, int height, unsigned seed) {
    return painted(width, height, [random = std::mt19937(seed)](int, int) mutable {
        return static_cast<std::uint32_t>(random());
    });
}

} // namespace test
