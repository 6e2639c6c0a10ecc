#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

namespace orvel {

/// Our copy of the remote desktop. One thread changes it, others read it; whoever touches it while
/// another thread may do so holds `lock`. What does not fit inside is silently left out, so it is
/// up to the caller to complain.
class Framebuffer final {
public:
    /// Of either side in pixels: as large as the widest screens put together; keeps a picture
    /// below 256 MiB.
    static constexpr int longestSide = 8192;

    static constexpr int bytesPerPixel = 4;

    /// All zero. Sizes are at most `longestSide` each.
    Framebuffer(int width, int height);

    /// Replaces the picture with one of the new size, all zero. Takes the lock itself.
    void resize(int newWidth, int newHeight);

    /// Whether the rectangle lies inside as a whole.
    bool clipped(int x, int y, int w, int h) const;

    /// Copies w x h packed pixels to (x, y), if they fit and the source holds that many.
    void put(int x, int y, int w, int h, std::span<const std::uint8_t> source);

    /// Copies a rectangle within the picture, if both places fit. They may overlap: the result is
    /// as if the source had been taken aside first.
    void copy(int fromX, int fromY, int x, int y, int w, int h);

    int width;
    int height;
    /// Rows from top to bottom without padding, 4 bytes a pixel: blue, green, red, alpha.
    std::vector<std::uint8_t> pixels;
    std::mutex lock;

private:
    std::uint8_t* at(int x, int y);
};

} // namespace orvel
