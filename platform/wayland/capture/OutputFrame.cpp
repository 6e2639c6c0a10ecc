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

void OutputFrame::take(const picture::TurnedPicture& copy, picture::PixelLayout layout,
                       const std::vector<Area>& areas, picture::BlockMap& dirty) {
    const bool isBGRA = layout == picture::PixelLayout::bgrx8888;
    for (const auto& area : areas) {
        if (isBGRA && copy.orientation.isUpright()) {
            keep(copy.at(area.x, area.y), copy.bytesPerRow, area, dirty);
            continue;
        }
        scratch.resize(bytesIn(area));
        copy.copy(area, scratch.data());
        if (!isBGRA)
            picture::convertRow(layout, scratch.data(), area.width * area.height, scratch.data());
        keep(scratch.data(), area.width * bytesPerPixel, area, dirty);
    }
}

void OutputFrame::fill(const Area& area, std::uint32_t colour, picture::BlockMap& dirty) {
    const std::vector<std::uint32_t> row(static_cast<std::size_t>(area.width), colour);
    for (int y = area.y; y < area.bottom(); ++y)
        keep(reinterpret_cast<const std::uint8_t*>(row.data()), bytesPerRow(),
             {area.x, y, area.width, 1}, dirty);
}

void OutputFrame::keep(const std::uint8_t* bgra, int itsBytesPerRow, const Area& area,
                       picture::BlockMap& dirty) {
    auto* const old = pixels.data() + static_cast<std::ptrdiff_t>(area.y) * bytesPerRow() +
                      static_cast<std::ptrdiff_t>(area.x) * bytesPerPixel;
    picture::findDirtyBlocks(bgra, itsBytesPerRow, old, bytesPerRow(), area, dirty);
    picture::copyBlocks(bgra, itsBytesPerRow, old, bytesPerRow(), area, dirty);
}

} // namespace platform::wayland
