#pragma once

#include "platform/picture/BlockMap.h"
#include "platform/picture/Orientation.h"
#include "platform/picture/PixelLayout.h"

#include <cstdint>
#include <vector>

namespace platform::wayland {

/// An output as it was when last copied, upright and in bgra.
class OutputFrame {
public:
    /// In pixels, upright. Throws std::bad_alloc.
    OutputFrame(int width, int height);

    Area whole() const { return {0, 0, width, height}; }
    MutableFrameView view() { return {pixels.data(), width * 4, width, height}; }

    /// Takes over areas of a copy of this size, which don't overlap, and marks the blocks in which
    /// they turned out different.
    void take(const picture::TurnedFrame& copy, picture::PixelLayout layout,
              const std::vector<Area>& areas, picture::BlockMap& dirty);
    /// Fills an area with one colour (0xRRGGBB) instead and marks it if that is a difference.
    void fill(const Area& area, std::uint32_t colour, picture::BlockMap& dirty);

private:
    int width;
    int height;
    std::vector<std::uint8_t> pixels;
    std::vector<std::uint8_t> scratch; // an area, where the copy is not upright or no bgra
};

} // namespace platform::wayland
