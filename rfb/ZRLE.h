#pragma once

#include "rfb/Scratch.h"

#include <cstdint>
#include <functional>
#include <span>

namespace orvel {

/// Takes rows of a rectangle: the first one's place in it, how many, and their packed pixels of
/// blue, green, red and an alpha of 255, which are gone after the call.
using RowSink = std::function<void(int y, int count, std::span<const std::uint8_t> pixels)>;

/// Decodes the decompressed data of one ZRLE rectangle (RFC 6143, section 7.7.6) and hands its rows
/// to the sink in order, a row of tiles at a time: that many pixels stay in the processor's cache,
/// and a rectangle as large as the screen takes no memory of that size. Sizes are in pixels;
/// without an area nothing is read. Bytes behind the last tile are ignored. Throws
/// RFBError::broken, after what was whole before the damage has been handed over.
void zrleDecode(std::span<const std::uint8_t> data, int width, int height,
                Scratch<std::uint32_t>& scratch, const RowSink& sink);

} // namespace orvel
