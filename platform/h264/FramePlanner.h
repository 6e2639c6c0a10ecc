#pragma once

#include "platform/PixelBuffer.h"
#include "platform/h264/BitForecast.h"
#include "platform/h264/BlockQuality.h"
#include "platform/h264/ConstantBlocks.h"
#include "platform/picture/ShiftFinder.h"

#include <cstdint>
#include <span>

namespace platform::h264 {

/// How a frame is to be encoded.
struct FramePlan {
    bool key = false;
    int quantiser = 0;     ///< Of the whole frame.
    std::int64_t bits = 0; ///< What the frame is expected to take.
    /// How far to look for where contents came from, in rows; 0: not beyond what is near.
    int searchRows = 0;
    /// In how many of the frames encoded last to look for them.
    int references = 1;
    /// One byte for each macroblock: 1 where the frame is the same as the one encoded before.
    std::span<const std::uint8_t> constant;
};

/// Chooses how each frame of a stream is encoded from what is known of it: what changed, what was
/// moved and how far, and how finely the rest was encoded so far. Pure.
class FramePlanner {
public:
    /// For frames of this size in pixels.
    FramePlanner(int width, int height);

    void setCoarsest(int quantiser) { coarsest = quantiser; }

    /// The next frame handed in.
    void follow(const ImageBuffer& frame);
    /// Whether the newest frame is the one that was encoded last, so that its quality can settle.
    bool isRefresh() const { return isRepetition; }
    /// For the newest frame, if it is encoded next; valid until the next call.
    FramePlan plan(bool key, std::int64_t maxBits);
    /// The newest frame was encoded as planned last, and took this many bits.
    void encoded(std::int64_t bits);

private:
    int finest() const;
    bool isSteady() const;

    ConstantBlocks blocks;
    picture::ShiftFinder shifts;
    BlockQuality quality;
    BitForecast forecast;
    ImageBuffer newest;
    ImageBuffer before;       // Encoded last.
    picture::Shift shift;     // Of the newest frame,
    picture::Shift lastShift; // and of the one encoded last.
    bool isRepetition = false;
    int repetitions = 0; // Encoded since the last change.
    int coarsest = maxQuantiser;
    int planned = 0; // The quantiser.
};

} // namespace platform::h264
