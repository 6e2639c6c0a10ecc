#pragma once

#include "platform/picture/BlockMap.h"

#include <cstdint>

namespace platform::picture {

/// Marks in `changed` every block of the area in which two bgra pictures differ. Each pointer is
/// at the area's first pixel. Blocks that are marked already are not looked at.
void findChanges(const std::uint8_t* a, int bytesPerRowA, const std::uint8_t* b, int bytesPerRowB,
                 const Area& area, BlockMap& changed);

/// Copies the marked blocks of the area, as far as they are inside it, from one bgra picture to
/// another. Each pointer is at the area's first pixel.
void copyMarked(const std::uint8_t* from, int bytesPerRowFrom, std::uint8_t* to, int bytesPerRowTo,
                const Area& area, const BlockMap& marked);

} // namespace platform::picture
