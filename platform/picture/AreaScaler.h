#pragma once

#include "platform/picture/Area.h"

#include <cstdint>
#include <vector>

namespace platform::picture {

/// How one side of a plane is scaled: which source samples each target sample covers, and how
/// much of it each of them makes up.
class AreaAxis {
public:
    /// Lengths of at least 1. The weights of each target sample add up to `one`.
    AreaAxis(int sourceLength, int targetLength, int one);

    /// How many source samples a target sample covers at most.
    int taps() const { return tapCount; }
    /// The first source sample that each target sample covers.
    const std::vector<int>& firsts() const { return firstOnes; }
    /// Of the source sample `first + tap`; 0 where the target sample covers fewer.
    std::uint16_t weight(int target, int tap) const {
        return weights[static_cast<std::size_t>(target * tapCount + tap)];
    }
    /// One past the last source sample that the target samples before `targetEnd` cover.
    int sourceEnd(int targetEnd) const;

private:
    int sourceLength;
    int targetLength;
    int tapCount = 1;
    std::vector<int> firstOnes;
    std::vector<std::uint16_t> weights;
};

/// Scales planes of 8-bit samples so that each target sample is the average of the area it covers,
/// at any ratio, which keeps small text readable. It can do any part of a plane by itself. A plane
/// of half the samples each way (chroma) scales as the first quarter of a full one would.
class AreaScaler {
public:
    /// Lengths of at least 1. A sample has 1, 2 or 4 channels of a byte each.
    AreaScaler(int sourceWidth, int sourceHeight, int targetWidth, int targetHeight, int channels);

    struct Source {
        const std::uint8_t* data;
        int bytesPerRow;
    };
    struct Target {
        std::uint8_t* data;
        int bytesPerRow;
    };
    /// Fills `part` of the target plane. Of the source plane only `sourceArea(part)` is read.
    void scale(Source source, Target target, Area part);

    /// What the part of the target covers.
    Area sourceArea(Area part) const;

private:
    void blendRows(Source source, int row, Area covered);
    void blendColumns(std::uint8_t* target, Area part, int coveredBegin) const;

    int channels;
    AreaAxis horizontal;
    AreaAxis vertical;
    /// For each tap a row of the horizontal weights, one for each channel.
    std::vector<std::vector<std::uint16_t>> columnWeights;
    std::vector<std::uint16_t> blended; // the rows of one target row, still as wide as the source
};

} // namespace platform::picture
