#pragma once

namespace platform {

/// A rectangle of a frame, of a window or of the desktop, in pixels.
struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }
    int bottom() const { return y + height; }
    bool empty() const { return width <= 0 || height <= 0; }
    Area movedBy(int byX, int byY) const { return {x + byX, y + byY, width, height}; }
    friend bool operator==(const Area&, const Area&) = default;
};

} // namespace platform
