#include "support/Pictures.h"

#include "platform/picture/VideoConverter.h"

#include <cstddef>
#include <random>

namespace test {

using platform::PixelBuffer;
using platform::PixelFormat;

std::shared_ptr<PixelBuffer> painted(int width, int height,
                                     const std::function<std::uint32_t(int, int)>& colour) {
    PixelBuffer pixels(PixelFormat::bgra, width, height);
    const auto& plane = pixels.plane(0);
    for (int y = 0; y < height; ++y) {
        auto* pixel = plane.data + static_cast<std::ptrdiff_t>(y) * plane.bytesPerRow;
        for (int x = 0; x < width; ++x) {
            const auto value = colour(x, y);
            for (const int shift : {0, 8, 16, 24})
                *pixel++ = static_cast<std::uint8_t>(value >> shift);
        }
    }
    auto picture = std::make_shared<PixelBuffer>(PixelFormat::video420, width, height);
    platform::picture::VideoConverter converter(width, height, width, height);
    converter.convert({plane.data, plane.bytesPerRow, width, height}, *picture,
                      converter.wholeTarget());
    return picture;
}

std::shared_ptr<PixelBuffer> noise(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    auto picture = std::make_shared<PixelBuffer>(PixelFormat::video420, width, height);
    for (const int index : {0, 1}) {
        const auto& plane = picture->plane(index);
        for (int i = 0; i < plane.bytesPerRow * plane.height; ++i)
            plane.data[i] = static_cast<std::uint8_t>(16 + random() % 220);
    }
    return picture;
}

} // namespace test
