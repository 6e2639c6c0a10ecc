#pragma once

#include "platform/PixelBuffer.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform::h264 {

/// Follows the frames handed in for encoding and tells which macroblocks of the newest one are
/// the same as in the frame encoded last, frames passed over in between included. What is not
/// known counts as changed. Pure.
class ConstantBlocks {
public:
    explicit ConstantBlocks(std::size_t blocks) : constant(blocks, 0) {}

    /// The next frame handed in.
    void follow(const FrameChanges& changes);
    /// The newest frame has been encoded: from here on, differences count from it.
    void encoded() { constant.assign(constant.size(), 1); }

    /// One byte for each macroblock: 1 where it is the same, else 0.
    std::span<const std::uint8_t> map() const { return constant; }

private:
    void nothingIsKnown() { constant.assign(constant.size(), 0); }

    std::vector<std::uint8_t> constant;
    std::uint64_t newest = 0; // serial of the newest frame; 0: it had no name
};

} // namespace platform::h264
