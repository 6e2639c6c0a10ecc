#include "platform/picture/Orientation.h"

#include <cstring>
#include <utility>

namespace platform::picture {
namespace {

constexpr std::ptrdiff_t bytesPerPixel = 4;

} // namespace

Area TurnedFrame::upright(const Area& inMemory) const {
    Area area = inMemory;
    if (orientation.fromRight)
        area.x = width - area.right();
    if (orientation.fromBottom)
        area.y = height - area.bottom();
    if (orientation.swapped) {
        std::swap(area.x, area.y);
        std::swap(area.width, area.height);
    }
    return area;
}

const std::uint8_t* TurnedFrame::at(int x, int y) const {
    if (orientation.swapped)
        std::swap(x, y);
    const std::ptrdiff_t column = orientation.fromRight ? width - 1 - x : x;
    const std::ptrdiff_t row = orientation.fromBottom ? height - 1 - y : y;
    return data + row * bytesPerRow + column * bytesPerPixel;
}

void TurnedFrame::copy(const Area& area, std::uint8_t* to) const {
    const auto step = orientation.swapped
                          ? std::ptrdiff_t{bytesPerRow} * (orientation.fromBottom ? -1 : 1)
                          : bytesPerPixel * (orientation.fromRight ? -1 : 1);
    for (int y = area.y; y < area.bottom(); ++y) {
        const auto* from = at(area.x, y);
        for (int x = 0; x < area.width; ++x, from += step, to += bytesPerPixel)
            std::memcpy(to, from, bytesPerPixel);
    }
}

} // namespace platform::picture
