#include "platform/picture/VideoConverter.h"

#include <libyuv/convert_from_argb.h>
#include <libyuv/scale_argb.h>

#include <algorithm>

namespace platform::picture {
namespace {

int evenBelow(int value) {
    return value / 2 * 2;
}

int evenAbove(int value) {
    return (value + 1) / 2 * 2;
}

std::uint8_t* at(const PixelPlane& plane, int row, int byte) {
    return plane.data + static_cast<std::ptrdiff_t>(row) * plane.bytesPerRow + byte;
}

/// Converts one area, whose left and upper edges are even, to the same place of the target.
void convertColours(const FrameView& source, const VideoView& target, Area area) {
    const auto& [luma, chroma] = target;
    // What is called ARGB there is named by the word, not by the bytes.
    libyuv::ARGBToNV12(source.data + static_cast<std::ptrdiff_t>(area.y) * source.bytesPerRow +
                           static_cast<std::ptrdiff_t>(area.x) * 4,
                       source.bytesPerRow, at(luma, area.y, area.x), luma.bytesPerRow,
                       at(chroma, area.y / 2, area.x), chroma.bytesPerRow, area.width, area.height);
}

struct Side {
    int begin;
    int length;
};

/// What of a scaled side changes with [begin, begin + length) of the source.
Side changedSide(int begin, int length, int source, int target) {
    const std::int64_t from = evenBelow(std::clamp(begin, 0, source));
    const std::int64_t to = evenAbove(std::clamp(begin + length, 0, source));
    if (from >= to)
        return {0, 0};
    // Counted in chroma samples, the coarser ones.
    const auto first = from / 2 * target / source * 2;
    const auto last = std::min<std::int64_t>((to / 2 * target + source - 1) / source * 2, target);
    return {static_cast<int>(first), static_cast<int>(last - first)};
}

bool exactlyHalf(Area whole, Area half) {
    return whole.width == half.width * 2 && whole.height == half.height * 2;
}

} // namespace

VideoView::VideoView(const PixelBuffer& frame, const Area& part) : VideoView(frame) {
    luma = {at(luma, part.y, part.x), luma.bytesPerRow, part.width, part.height};
    chroma = {at(chroma, part.y / 2, part.x), chroma.bytesPerRow, part.width / 2, part.height / 2};
}

VideoConverter::PlaneScalers::PlaneScalers(Area source, Area target)
    : luma(source.width, source.height, target.width, target.height, 1),
      chroma(source.width, source.height, target.width, target.height, 2) {}

VideoConverter::VideoConverter(int sourceWidth, int sourceHeight, int targetWidth, int targetHeight)
    : source{0, 0, sourceWidth, sourceHeight},
      target{0, 0, targetWidth, targetHeight} {
    if (exactlyHalf(source, target)) {
        scratch.emplace(PixelFormat::bgra, targetWidth, targetHeight);
    } else if (source != target) {
        scalers.emplace(source, target);
        scratch.emplace(PixelFormat::video420, sourceWidth, sourceHeight);
    }
}

Area VideoConverter::targetArea(Area changed) const {
    const auto [x, width] = changedSide(changed.x, changed.width, source.width, target.width);
    const auto [y, height] = changedSide(changed.y, changed.height, source.height, target.height);
    return {x, y, width, height};
}

void VideoConverter::convert(const FrameView& frame, const VideoView& video, Area part) {
    if (part.width <= 0 || part.height <= 0)
        return;
    if (scalers)
        convertScaled(frame, video, part);
    else if (scratch)
        convertHalved(frame, video, part);
    else
        convertColours(frame, video, part);
}

// A box of 2x2 is libyuv's own ground, and a quarter of the pixels is left to convert: 2 ms for
// 3840x2160, where scaling the planes takes 8.
void VideoConverter::convertHalved(const FrameView& frame, const VideoView& video, Area part) {
    const auto& halved = scratch->plane(0);
    const int sourceY = part.y * 2;
    libyuv::ARGBScale(frame.data + static_cast<std::ptrdiff_t>(sourceY) * frame.bytesPerRow +
                          static_cast<std::ptrdiff_t>(part.x) * 8,
                      frame.bytesPerRow, part.width * 2, part.height * 2,
                      at(halved, part.y, part.x * 4), halved.bytesPerRow, part.width, part.height,
                      libyuv::kFilterBox);
    convertColours({halved.data, halved.bytesPerRow, halved.width, halved.height}, video, part);
}

void VideoConverter::convertScaled(const FrameView& frame, const VideoView& video, Area part) {
    const Area inChroma{part.x / 2, part.y / 2, part.width / 2, part.height / 2};
    const auto covered = scalers->chroma.sourceArea(inChroma);
    const int x = covered.x * 2;
    const int y = covered.y * 2;
    convertColours(frame, *scratch,
                   {x, y, std::min(covered.width * 2, source.width - x),
                    std::min(covered.height * 2, source.height - y)});
    const auto scale = [](AreaScaler& scaler, const PixelPlane& from, const PixelPlane& to,
                          Area planePart) {
        scaler.scale({from.data, from.bytesPerRow}, {to.data, to.bytesPerRow}, planePart);
    };
    scale(scalers->luma, scratch->plane(0), video.luma, part);
    scale(scalers->chroma, scratch->plane(1), video.chroma, inChroma);
}

} // namespace platform::picture
