#pragma once

#include "rfb/Scratch.h"

#include <cstdint>
#include <span>

namespace orvel {

/// Decodes the decompressed data of one ZRLE rectangle (RFC 6143, section 7.7.6) into packed rows
/// of blue, green, red and an alpha of 255: width x height x 4 bytes in `scratch`, which live as
/// long as the caller lets it. Sizes are in pixels; without an area nothing is read. Bytes behind
/// the last tile are ignored. Throws RFBError::broken.
std::span<const std::uint8_t> zrleDecode(std::span<const std::uint8_t> data, int width, int height,
                                         Scratch<std::uint32_t>& scratch);

} // namespace orvel
