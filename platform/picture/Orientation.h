#pragma once

#include "platform/picture/Area.h"

#include <cstddef>
#include <cstdint>

namespace platform::picture {

/// How a frame with 4 bytes a pixel lies in memory, as seen from the frame that is upright: first
/// columns and rows are swapped, if they are, then each is counted from the other end, if it
/// is. These are all eight ways.
struct Orientation {
    bool swapped = false;
    bool fromRight = false;  ///< Of the memory's columns.
    bool fromBottom = false; ///< Of the memory's rows.

    bool isUpright() const { return !swapped && !fromRight && !fromBottom; }
    friend bool operator==(const Orientation&, const Orientation&) = default;
};

/// A frame in somebody else's memory, of any orientation.
struct TurnedFrame {
    const std::uint8_t* data = nullptr;
    int bytesPerRow = 0;
    int width = 0; ///< In memory.
    int height = 0;
    Orientation orientation;

    int uprightWidth() const { return orientation.swapped ? height : width; }
    int uprightHeight() const { return orientation.swapped ? width : height; }
    /// Where an area of the memory is in the upright frame.
    Area upright(const Area& inMemory) const;
    /// The pixel at (x, y) of the upright frame.
    const std::uint8_t* at(int x, int y) const;
    /// Copies an area of the upright frame, row after row without padding.
    void copy(const Area& area, std::uint8_t* to) const;
};

} // namespace platform::picture
