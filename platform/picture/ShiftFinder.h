#pragma once

#include "platform/PixelBuffer.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace platform::picture {

/// Where most of what changed in a frame was before.
struct Shift {
    int framesAgo = 0; ///< 1: in the frame before; 0: nowhere.
    int rows = 0;      ///< How far it has moved downwards since, in pixels.
    double share = 0;  ///< How much of what changed it is, 0 to 1.
};

/// Follows the luma of a stream's frames and finds what was moved up or down as it was, such as
/// text that is scrolled: also since one of a few frames before the last, because where a screen
/// is shown smaller than it is, text that has moved by half a pixel looks like new, and like itself
/// again after another half. Remembers hashes of rows in strips across the frame, not the frames;
/// takes a few tenths of a millisecond for a whole screen, next to nothing for a letter. Pure.
class ShiftFinder {
public:
    static constexpr int maxFramesAgo = 4;

    /// For frames of this size in pixels.
    ShiftFinder(int width, int height);

    /// Looks at what may become the next frame. `constant` has one byte for each 16x16 block, not 0
    /// where it is the same as in the frame before.
    Shift find(const PixelBuffer& frame, std::span<const std::uint8_t> constant);
    /// The frame looked at last has become the next one.
    void advance() { ++count; }
    /// Nothing was moved since the frames so far.
    void startOver();

private:
    /// Of each row of each strip, strip by strip; 0 for rows of a single shade.
    using Hashes = std::vector<std::uint32_t>;

    int hashChanges(const PixelBuffer& frame, std::span<const std::uint8_t> constant);
    void tabulate();
    Shift shiftSince(int framesAgo);
    Hashes& hashes(int framesAgo) {
        constexpr int size = maxFramesAgo + 1;
        return history[static_cast<std::size_t>((count + size - framesAgo) % size)];
    }

    /// Of a row in a strip, by its hash.
    struct Slot {
        std::uint32_t hash = 0;
        std::int32_t row = 0;
    };
    Slot& slot(std::size_t strip, std::uint32_t hash);

    int columns; // Of blocks.
    int height;
    std::size_t strips;
    std::size_t slotsOfStrip;
    int count = 0; // Of frames before the one looked at.
    std::array<Hashes, maxFramesAgo + 1> history;
    std::vector<std::uint8_t> changed; // Of each row of each strip, in the newest frame.
    std::vector<Slot> table;           // Rows of the newest frame that changed.
    int standingOut = 0;               // How many those are.
    std::vector<int> votes;            // By how far rows have moved.
};

} // namespace platform::picture
