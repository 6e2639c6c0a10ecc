#pragma once

#include "platform/PixelBuffer.h"
#include "platform/picture/Area.h"

#include <cstdint>
#include <vector>

namespace platform::picture {

/// What a cursor looks like: rows of premultiplied 0xAARRGGBB from the top.
struct CursorImage {
    int width = 0;
    int height = 0;
    int hotX = 0; ///< The pixel that is at the pointer's position.
    int hotY = 0;
    std::vector<std::uint32_t> pixels;

    Area around(int pointerX, int pointerY) const {
        return {pointerX - hotX, pointerY - hotY, width, height};
    }
};

/// Draws the cursor into a frame for a moment and takes it out again.
class CursorPainter {
public:
    /// Blends the image in, its upper left corner at (x, y), which may be outside the frame.
    void paint(const MutableFrameView& frame, const CursorImage& image, int x, int y);
    /// Puts back what the last `paint` covered.
    void erase(const MutableFrameView& frame) const;

private:
    Area covered;
    std::vector<std::uint32_t> below; // the pixels of `covered`, row by row
};

} // namespace platform::picture
