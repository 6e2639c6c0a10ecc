#include "platform/wayland/capture/OutputFrame.h"

#include "platform/picture/DirtyBlocks.h"

#include <cstddef>

namespace platform::wayland {
namespace {

constexpr int bytesPerPixel = 4;

std::size_t bytesIn(const Area& area) {
    return static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height) *
           bytesPerPixel;
}

} // namespace

OutputFrame::OutputFrame(int width, int height)
    : width(width),
      height(height),
      pixels(bytesIn(whole())) {}

void OutputFrame::take(const picture::TurnedFrame& copy, picture::PixelLayout layout,
                       const std::vector<Area>& areas, picture::BlockMap& dirty) {
    const bool isBGRA = layout == picture::PixelLayout::bgrx8888;
    for (const auto& area : areas) {
        if (isBGRA && copy.orientation.isUpright()) {
            picture::replaceArea(view(), area, copy.at(area.x, area.y), copy.bytesPerRow, dirty);
            continue;
        }
        scratch.resize(bytesIn(area));
        copy.copy(area, scratch.data());
        if (!isBGRA)
            picture::convertRow(layout, scratch.data(), area.width * area.height, scratch.data());
        picture::replaceArea(view(), area, scratch.data(), area.width * bytesPerPixel, dirty);
    }
}

void OutputFrame::fill(const Area& area, std::uint32_t colour, picture::BlockMap& dirty) {
    picture::fillArea(view(), area, colour, dirty);
}

} // namespace platform::wayland
