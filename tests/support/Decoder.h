#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace test {

/// A decoded picture: rows packed without padding.
struct Picture {
    int width = 0;
    int height = 0;
    int bytesPerPixel = 0;
    std::vector<std::uint8_t> bytes;

    /// The samples of one pixel: its luma, or blue, green, red, alpha.
    std::span<const std::uint8_t> at(int x, int y) const;
    /// Whether the pixel of a bgra picture has this colour (0xRRGGBB), within what coding leaves.
    bool shows(int x, int y, std::uint32_t colour) const;
};

enum class Decoded {
    luma, ///< One byte a pixel, as coded (16 to 235).
    bgra, ///< Converted as the stream's colour description says.
};

/// Every picture of an H.264 byte stream (Annex B), as an independent decoder, ffmpeg, shows it.
/// Throws std::runtime_error if the decoder complains of the stream.
std::vector<Picture> decode(const std::vector<std::uint8_t>& stream, int width, int height,
                            Decoded as);

/// What ffprobe says of a byte stream, as lines of "field=value" of the video stream and of
/// every frame.
std::string probe(const std::vector<std::uint8_t>& stream);

} // namespace test
