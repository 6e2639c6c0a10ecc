#pragma once

#include "platform/picture/BlockMap.h"

#include <cstdint>

namespace platform::picture {

/// Marks in `dirty` every block of the area in which two bgra frames differ. Each pointer is
/// at the area's first pixel. Blocks that are marked already are not looked at.
void findDirtyBlocks(const std::uint8_t* a, int bytesPerRowA, const std::uint8_t* b,
                     int bytesPerRowB, const Area& area, BlockMap& dirty);

/// Copies the marked blocks of the area, as far as they are inside it, from one bgra frame to
/// another. Each pointer is at the area's first pixel.
void copyBlocks(const std::uint8_t* from, int bytesPerRowFrom, std::uint8_t* to, int bytesPerRowTo,
                const Area& area, const BlockMap& marked);

} // namespace platform::picture
