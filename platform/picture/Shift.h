#pragma once

#include "platform/PixelBuffer.h"

#include <cstdint>
#include <span>

namespace platform::picture {

/// By how many rows what changed was moved as it was, such as text that is scrolled: positive means
/// downwards, 0 that nothing was. Both are video420 frames of one size; `constant` has one byte for
/// each 16x16 block, not 0 where they are the same. Compares rows of a few strips of the changed
/// blocks by their hashes, so that a whole screen takes a fraction of a millisecond. Pure.
int verticalShift(const PixelBuffer& before, const PixelBuffer& now,
                  std::span<const std::uint8_t> constant);

} // namespace platform::picture
