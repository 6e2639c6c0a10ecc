#include "platform/picture/CursorPainter.h"

#include <algorithm>
#include <cstring>

namespace platform::picture {
namespace {

constexpr std::size_t bytesPerPixel = sizeof(std::uint32_t);

/// Rounded division by 255 of a product of two bytes.
constexpr std::uint32_t share(std::uint32_t value, std::uint32_t of255) {
    const std::uint32_t product = value * of255 + 128;
    return (product + (product >> 8)) >> 8;
}

/// `over` on an opaque pixel. What the server calls premultiplied need not be: sums are cut off.
std::uint32_t blended(std::uint32_t over, std::uint32_t below) {
    const std::uint32_t rest = 255 - (over >> 24);
    std::uint32_t result = 0xFF000000;
    for (const int shift : {0, 8, 16}) {
        const std::uint32_t sum = ((over >> shift) & 0xFF) + share((below >> shift) & 0xFF, rest);
        result |= std::min(sum, 0xFFU) << shift;
    }
    return result;
}

} // namespace

void CursorPainter::paint(const MutableFrameView& frame, const CursorImage& image, int x, int y) {
    covered = intersection({x, y, image.width, image.height}, {0, 0, frame.width, frame.height});
    if (covered.empty())
        covered = {};
    const auto width = static_cast<std::size_t>(covered.width);
    below.resize(width * static_cast<std::size_t>(covered.height));
    auto saved = below.begin();
    for (int row = covered.y; row < covered.bottom(); ++row) {
        auto* const pixels = frame.at(covered.x, row);
        const auto* over = image.pixels.data() +
                           static_cast<std::ptrdiff_t>(row - y) * image.width + (covered.x - x);
        for (std::size_t column = 0; column < width; ++column, ++saved, ++over) {
            std::memcpy(&*saved, pixels + column * bytesPerPixel, bytesPerPixel);
            const std::uint32_t pixel = blended(*over, *saved);
            std::memcpy(pixels + column * bytesPerPixel, &pixel, bytesPerPixel);
        }
    }
}

void CursorPainter::erase(const MutableFrameView& frame) const {
    const auto width = static_cast<std::size_t>(covered.width);
    auto saved = below.begin();
    for (int row = covered.y; row < covered.bottom(); ++row, saved += covered.width)
        std::memcpy(frame.at(covered.x, row), &*saved, width * bytesPerPixel);
}

} // namespace platform::picture
