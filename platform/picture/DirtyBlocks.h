#pragma once

#include "platform/picture/BlockMap.h"

#include <cstdint>

namespace platform::picture {

/// Marks in `dirty` every block of the area in which two bgra frames differ. Each pointer is
/// at the area's first pixel. Blocks that are marked already are not compared.
void findDirtyBlocks(const std::uint8_t* a, int bytesPerRowA, const std::uint8_t* b,
                     int bytesPerRowB, const Area& area, BlockMap& dirty);

/// Gives an area of a bgra frame new pixels, of which `fresh` is the first, and marks the blocks in
/// which that makes a difference.
void replaceArea(const MutableFrameView& frame, const Area& area, const std::uint8_t* fresh,
                 int bytesPerRow, BlockMap& dirty);

/// The same with pixels of one colour (0xRRGGBB).
void fillArea(const MutableFrameView& frame, const Area& area, std::uint32_t colour,
              BlockMap& dirty);

} // namespace platform::picture
