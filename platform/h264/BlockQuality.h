#pragma once

#include "platform/PixelBuffer.h"
#include "platform/picture/ShiftFinder.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace platform::h264 {

constexpr int maxQuantiser = 51;

/// How much there is to encode in a frame, in sums of differences between pixels: between
/// neighbours, which is how busy a macroblock is, or from the frame before, whichever is less.
struct Work {
    std::int64_t fresh = 0; ///< Of what is new.
    /// How busy the rest is, by the quantiser that it is known at.
    std::array<std::int64_t, maxQuantiser + 1> known{};
};

/// Knows for each macroblock of a stream how busy it is and how finely it was encoded so far, also
/// where it was moved to, and so what there is to do in the next frame. Pure.
class BlockQuality {
public:
    /// For frames of this size in pixels.
    BlockQuality(int width, int height);

    /// Finds out what there is to do in a frame that may be encoded next. `before` is the frame
    /// encoded last (nullptr if there is none, or if nothing of it may be used), `constant` has a
    /// byte for each macroblock, not 0 where both are the same, and `shift` is where others may
    /// have been before.
    void assess(const PixelBuffer* before, const PixelBuffer& now,
                std::span<const std::uint8_t> constant, const picture::Shift& shift);

    const Work& work() const { return current; }
    /// The frame assessed last was encoded with this quantiser.
    void encoded(int quantiser);

private:
    struct Block {
        std::uint32_t busyness = 0;
        std::uint8_t quantiser = 0; ///< The finest one its contents were encoded with.
        bool fresh = true;
    };
    void assessBlock(const PixelBuffer* before, const PixelBuffer& now, int column, int row,
                     int rowsMoved);
    void takeFromEarlier(const picture::Shift& shift);
    std::uint8_t quantiserBefore(int column, int y) const;
    double& changedQuantiser(int framesAgo) {
        return changedQuantisers[(frames - static_cast<std::size_t>(framesAgo)) %
                                 changedQuantisers.size()];
    }

    int columns;
    int rows;
    std::vector<Block> blocks;     // Of the frame assessed last.
    std::vector<Block> lastBlocks; // Of the frame encoded last.
    picture::Shift moved;
    /// Of each of the last frames: about how finely what had changed in it was encoded, there or
    /// where it was moved from.
    std::array<double, picture::ShiftFinder::maxFramesAgo + 1> changedQuantisers{};
    std::size_t frames = 0;
    Work current;
};

} // namespace platform::h264
