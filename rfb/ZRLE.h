#pragma once

#include "platform/Area.h"
#include "rfb/Inflater.h"
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

/// What one connection needs to read its ZRLE rectangles, for the thread that reads it.
class ZRLEDecoder final {
public:
    /// A rectangle's data, decompressed; lives until the next call. Throws RFBError::broken.
    std::span<const std::uint8_t> inflate(std::span<const std::uint8_t> compressed,
                                          const platform::Area& rectangle) {
        constexpr std::ptrdiff_t bytesPerPixel = 4;
        return inflater.inflate(compressed, bytesPerPixel * rectangle.width * rectangle.height);
    }
    /// Hands the rows of a rectangle to the sink; see zrleDecode.
    void decode(std::span<const std::uint8_t> data, const platform::Area& rectangle,
                const RowSink& sink) {
        zrleDecode(data, rectangle.width, rectangle.height, rowOfTiles, sink);
    }

private:
    Inflater inflater;
    Scratch<std::uint32_t> rowOfTiles;
};

} // namespace orvel
