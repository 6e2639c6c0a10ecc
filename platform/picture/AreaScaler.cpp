#include "platform/picture/AreaScaler.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace platform::picture {
namespace {

// Rows are blended first, to 8 binary places, which just fills 16 bits; then columns, where the
// upper half of a 16 by 16 bit product, one instruction for a whole register, leaves 7 places.
constexpr int rowOne = 1 << 8;
constexpr int columnOne = 1 << 15;
constexpr int placesLeft = 7;

/// Columns are blended a few at a time, so that what is gathered for them stays in the cache.
constexpr int chunkBytes = 512;
using Chunk = std::array<std::uint16_t, chunkBytes>;

/// Brings together what one tap of `count` target samples reads.
template<int channels>
void gather(const std::uint16_t* __restrict samples, const int* __restrict firsts, int begin,
            int count, std::uint16_t* __restrict gathered) {
    for (int i = 0; i < count; ++i)
        std::memcpy(gathered + static_cast<std::ptrdiff_t>(i) * channels,
                    samples + static_cast<std::ptrdiff_t>(firsts[i] - begin) * channels,
                    channels * sizeof *samples);
}

void addWeighted(const std::uint16_t* __restrict samples, const std::uint16_t* __restrict weights,
                 int count, std::uint16_t* __restrict sums) {
    for (int i = 0; i < count; ++i)
        sums[i] =
            static_cast<std::uint16_t>(sums[i] + (std::uint32_t{samples[i]} * weights[i] >> 16));
}

void addWeighted(const std::uint8_t* __restrict samples, std::uint16_t weight, int count,
                 std::uint16_t* __restrict sums) {
    for (int i = 0; i < count; ++i)
        sums[i] = static_cast<std::uint16_t>(sums[i] + samples[i] * weight);
}

/// How much of a target sample is covered where `position` is reached, in units of `one`.
int coverage(std::int64_t position, std::int64_t start, std::int64_t extent, int one) {
    const auto covered = std::clamp<std::int64_t>(position - start, 0, extent);
    return static_cast<int>((covered * one + extent / 2) / extent);
}

} // namespace

AreaAxis::AreaAxis(int sourceLength, int targetLength, int one)
    : sourceLength(sourceLength),
      targetLength(targetLength) {
    // Positions count in source samples times the target length: so all edges are whole.
    const std::int64_t extent = sourceLength;
    for (int target = 0; target < targetLength; ++target) {
        firstOnes.push_back(static_cast<int>(target * extent / targetLength));
        tapCount = std::max(tapCount, sourceEnd(target + 1) - firstOnes.back());
    }
    for (int target = 0; target < targetLength; ++target) {
        std::int64_t edge =
            std::int64_t{firstOnes[static_cast<std::size_t>(target)]} * targetLength;
        int covered = 0;
        for (int tap = 0; tap < tapCount; ++tap) {
            edge += targetLength;
            // Sums are rounded, not weights: so the weights always add up to `one`.
            const int reached = coverage(edge, target * extent, extent, one);
            weights.push_back(static_cast<std::uint16_t>(reached - covered));
            covered = reached;
        }
    }
}

int AreaAxis::sourceEnd(int targetEnd) const {
    return static_cast<int>((std::int64_t{targetEnd} * sourceLength + targetLength - 1) /
                            targetLength);
}

AreaScaler::AreaScaler(int sourceWidth, int sourceHeight, int targetWidth, int targetHeight,
                       int channels)
    : channels(channels),
      horizontal(sourceWidth, targetWidth, columnOne),
      vertical(sourceHeight, targetHeight, rowOne),
      columnWeights(static_cast<std::size_t>(horizontal.taps())),
      // A tap without weight may lie behind the last sample.
      blended(static_cast<std::size_t>((sourceWidth + horizontal.taps()) * channels)) {
    for (int tap = 0; auto& row : columnWeights) {
        row.reserve(static_cast<std::size_t>(targetWidth * channels));
        for (int x = 0; x < targetWidth; ++x)
            row.insert(row.end(), static_cast<std::size_t>(channels), horizontal.weight(x, tap));
        ++tap;
    }
}

Area AreaScaler::sourceArea(Area part) const {
    const int x = horizontal.firsts()[static_cast<std::size_t>(part.x)];
    const int y = vertical.firsts()[static_cast<std::size_t>(part.y)];
    return {x, y, horizontal.sourceEnd(part.x + part.width) - x,
            vertical.sourceEnd(part.y + part.height) - y};
}

void AreaScaler::blendRows(Source source, int row, Area covered) {
    const int count = covered.width * channels;
    const auto first = vertical.firsts()[static_cast<std::size_t>(row)];
    const auto* samples = source.data + static_cast<std::ptrdiff_t>(first) * source.bytesPerRow +
                          static_cast<std::ptrdiff_t>(covered.x) * channels;
    std::fill_n(blended.data(), count, std::uint16_t{0});
    for (int tap = 0; tap < vertical.taps(); ++tap, samples += source.bytesPerRow)
        if (const auto weight = vertical.weight(row, tap)) // Without, there may be no such row.
            addWeighted(samples, weight, count, blended.data());
}

void AreaScaler::blendColumns(std::uint8_t* target, Area part, int coveredBegin) const {
    const auto gatherSamples = channels == 1 ? gather<1> : channels == 2 ? gather<2> : gather<4>;
    // Each tap has lost half a unit on the average.
    const int rounding = (1 << (placesLeft - 1)) + horizontal.taps() / 2;
    const int end = part.x + part.width;
    Chunk gathered;
    Chunk sums;
    for (int x = part.x; x < end; x += chunkBytes / channels) {
        const int columns = std::min(end - x, chunkBytes / channels);
        const int count = columns * channels;
        std::fill_n(sums.data(), count, std::uint16_t{0});
        for (int tap = 0; const auto& weights : columnWeights) {
            gatherSamples(blended.data() + static_cast<std::ptrdiff_t>(tap) * channels,
                          horizontal.firsts().data() + x, coveredBegin, columns, gathered.data());
            addWeighted(gathered.data(), weights.data() + static_cast<std::ptrdiff_t>(x) * channels,
                        count, sums.data());
            ++tap;
        }
        for (int i = 0; i < count; ++i)
            target[i] = static_cast<std::uint8_t>((sums[static_cast<std::size_t>(i)] + rounding) >>
                                                  placesLeft);
        target += count;
    }
}

void AreaScaler::scale(Source source, Target target, Area part) {
    const Area covered = sourceArea(part);
    for (int row = part.y; row < part.y + part.height; ++row) {
        blendRows(source, row, covered);
        blendColumns(target.data + static_cast<std::ptrdiff_t>(row) * target.bytesPerRow +
                         static_cast<std::ptrdiff_t>(part.x) * channels,
                     part, covered.x);
    }
}

} // namespace platform::picture
