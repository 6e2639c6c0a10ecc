#include "platform/media/AreaScaler.h"

#include <algorithm>
#include <cstddef>

namespace platform::media {
namespace {

/// How far the target sample has been covered where `position` is reached, in units of `one`.
/// Positions count in source samples times the target length, so that all edges are whole.
std::uint16_t coverage(std::int64_t position, std::int64_t start, std::int64_t extent) {
    const auto covered = std::clamp<std::int64_t>(position - start, 0, extent);
    return static_cast<std::uint16_t>((covered * AreaAxis::one + extent / 2) / extent);
}

/// One target row from the blended source row. The number of taps is known to the compiler where
/// it is small, which it nearly always is.
template<int channels, int fixedTaps>
void blendColumns(const std::uint16_t* blended, const AreaAxis& axis, int begin, int end,
                  int blendedBegin, std::uint8_t* target) {
    constexpr std::uint32_t rounding = AreaAxis::one * AreaAxis::one / 2;
    const int taps = fixedTaps > 0 ? fixedTaps : axis.taps();
    for (int x = begin; x < end; ++x, target += channels) {
        const auto* weights = axis.weights(x);
        const auto* samples =
            blended + static_cast<std::ptrdiff_t>(axis.first(x) - blendedBegin) * channels;
        std::uint32_t sums[channels];
        std::fill(sums, sums + channels, rounding);
        for (int tap = 0; tap < taps; ++tap)
            for (int channel = 0; channel < channels; ++channel)
                sums[channel] += std::uint32_t{samples[tap * channels + channel]} * weights[tap];
        for (int channel = 0; channel < channels; ++channel)
            target[channel] =
                static_cast<std::uint8_t>(sums[channel] / (AreaAxis::one * AreaAxis::one));
    }
}

template<int channels>
void blendColumns(const std::uint16_t* blended, const AreaAxis& axis, int begin, int end,
                  int blendedBegin, std::uint8_t* target) {
    switch (axis.taps()) {
    case 2:
        return blendColumns<channels, 2>(blended, axis, begin, end, blendedBegin, target);
    case 3:
        return blendColumns<channels, 3>(blended, axis, begin, end, blendedBegin, target);
    default:
        return blendColumns<channels, 0>(blended, axis, begin, end, blendedBegin, target);
    }
}

} // namespace

AreaAxis::AreaAxis(int sourceLength, int targetLength)
    : sourceLength(sourceLength),
      targetLength(targetLength),
      tapCount(1) {
    const std::int64_t extent = sourceLength;
    const auto firstOf = [&](std::int64_t target) {
        return static_cast<int>(target * extent / targetLength);
    };
    const auto endOf = [&](std::int64_t target) {
        return static_cast<int>(((target + 1) * extent + targetLength - 1) / targetLength);
    };
    for (int target = 0; target < targetLength; ++target) {
        firsts.push_back(firstOf(target));
        tapCount = std::max(tapCount, endOf(target) - firstOf(target));
    }
    for (int target = 0; target < targetLength; ++target) {
        // Rounded sums, not rounded weights: so they always add up to `one`.
        const std::int64_t start = target * extent;
        for (int tap = 0; tap < tapCount; ++tap) {
            const std::int64_t edge = (std::int64_t{first(target)} + tap) * targetLength;
            allWeights.push_back(static_cast<std::uint16_t>(
                coverage(edge + targetLength, start, extent) - coverage(edge, start, extent)));
        }
    }
}

int AreaAxis::sourceEnd(int targetEnd) const {
    return static_cast<int>((std::int64_t{targetEnd} * sourceLength + targetLength - 1) /
                            targetLength);
}

AreaScaler::AreaScaler(int sourceWidth, int sourceHeight, int targetWidth, int targetHeight)
    : horizontal(sourceWidth, targetWidth),
      vertical(sourceHeight, targetHeight) {}

Area AreaScaler::sourceArea(Area target) const {
    const int x = horizontal.first(target.x);
    const int y = vertical.first(target.y);
    return {x, y, horizontal.sourceEnd(target.x + target.width) - x,
            vertical.sourceEnd(target.y + target.height) - y};
}

void AreaScaler::blendRows(Source source, int row, int firstByte, int byteCount) {
    const auto* weights = vertical.weights(row);
    const auto* samples = source.data +
                          static_cast<std::ptrdiff_t>(vertical.first(row)) * source.bytesPerRow +
                          firstByte;
    std::uint16_t* sums = blended.data();
    std::fill_n(sums, byteCount, std::uint16_t{0});
    for (int tap = 0; tap < vertical.taps(); ++tap, samples += source.bytesPerRow) {
        const std::uint16_t weight = weights[tap];
        if (weight == 0)
            continue; // The row may not be there.
        for (int i = 0; i < byteCount; ++i)
            sums[i] = static_cast<std::uint16_t>(sums[i] + samples[i] * weight);
    }
}

void AreaScaler::scale(Source source, Target target, Area part, int channels) {
    const Area needed = sourceArea(part);
    const int byteCount = needed.width * channels;
    // Taps without weight may lie behind the last sample.
    blended.resize(std::max(blended.size(),
                            static_cast<std::size_t>(byteCount + horizontal.taps() * channels)));
    const auto blend = channels == 1   ? blendColumns<1>
                       : channels == 2 ? blendColumns<2>
                                       : blendColumns<4>;
    for (int row = part.y; row < part.y + part.height; ++row) {
        blendRows(source, row, needed.x * channels, byteCount);
        blend(blended.data(), horizontal, part.x, part.x + part.width, needed.x,
              target.data + static_cast<std::ptrdiff_t>(row) * target.bytesPerRow +
                  static_cast<std::ptrdiff_t>(part.x) * channels);
    }
}

} // namespace platform::media
