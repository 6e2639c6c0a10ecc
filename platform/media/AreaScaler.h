#pragma once

#include <cstdint>
#include <vector>

namespace platform::media {

/// A part of a picture, in pixels.
struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    friend bool operator==(const Area&, const Area&) = default;
};

/// How one side of a picture is scaled: which source samples each target sample covers, and how
/// much of it each of them makes up.
class AreaAxis {
public:
    /// Both at least 1.
    AreaAxis(int sourceLength, int targetLength);

    static constexpr int one = 256; ///< What the weights of a target sample add up to.

    int taps() const { return tapCount; }
    /// The first source sample that the target sample covers.
    int first(int target) const { return firsts[static_cast<std::size_t>(target)]; }
    /// `taps()` weights, zeros at the end where fewer are needed.
    const std::uint16_t* weights(int target) const {
        return allWeights.data() + static_cast<std::ptrdiff_t>(target) * tapCount;
    }
    /// One past the last source sample with a weight for any target sample before `targetEnd`.
    int sourceEnd(int targetEnd) const;

private:
    int sourceLength;
    int targetLength;
    int tapCount;
    std::vector<int> firsts;
    std::vector<std::uint16_t> allWeights;
};

/// Scales planes of interleaved 8-bit samples so that each target sample is the average of the
/// area it covers, exactly at any ratio, which keeps small text readable. A plane of half the
/// samples each way (chroma) scales by the same tables: its samples cover the same multiples.
class AreaScaler {
public:
    AreaScaler(int sourceWidth, int sourceHeight, int targetWidth, int targetHeight);

    struct Source {
        const std::uint8_t* data;
        int bytesPerRow;
    };
    struct Target {
        std::uint8_t* data;
        int bytesPerRow;
    };
    /// Fills `part` of the target plane, in samples of `channels` bytes (1, 2 or 4). The source
    /// plane is read only where the part covers it, see `sourceArea`.
    void scale(Source source, Target target, Area part, int channels);

    /// What is read of the source to fill this part of the target.
    Area sourceArea(Area target) const;

private:
    void blendRows(Source source, int row, int firstByte, int byteCount);

    AreaAxis horizontal;
    AreaAxis vertical;
    std::vector<std::uint16_t> blended; // one target row, still as wide as the source
};

} // namespace platform::media
