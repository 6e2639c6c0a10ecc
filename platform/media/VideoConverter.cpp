#include "platform/media/VideoConverter.h"

#include <libyuv/convert_from_argb.h>

#include <algorithm>

namespace platform::media {
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
void convertColours(const PictureView& source, PixelBuffer& target, Area area) {
    const auto& luma = target.plane(0);
    const auto& chroma = target.plane(1);
    // What is called ARGB there is named by the word, not by the bytes.
    libyuv::ARGBToNV12(source.data + static_cast<std::ptrdiff_t>(area.y) * source.bytesPerRow +
                           static_cast<std::ptrdiff_t>(area.x) * 4,
                       source.bytesPerRow, at(luma, area.y, area.x), luma.bytesPerRow,
                       at(chroma, area.y / 2, area.x), chroma.bytesPerRow, area.width, area.height);
}

/// One side of an area of whole macroblocks around [begin, end), clipped to `length`.
struct Side {
    int begin;
    int length;
};
Side macroblocksAround(std::int64_t begin, std::int64_t end, int length) {
    const auto first = static_cast<int>(begin / macroblockSize * macroblockSize);
    const auto last = (end + macroblockSize - 1) / macroblockSize * macroblockSize;
    return {first, static_cast<int>(std::min<std::int64_t>(last, length)) - first};
}

/// What of a scaled side changes with [begin, begin + length) of the source.
Side changedSide(int begin, int length, int source, int target) {
    const std::int64_t from = evenBelow(std::clamp(begin, 0, source));
    const std::int64_t to = evenAbove(std::clamp(begin + length, 0, source));
    if (from >= to)
        return {0, 0};
    // Counted in chroma samples, the coarser ones.
    const auto first = from / 2 * target / source * 2;
    const auto last = (to / 2 * target + source - 1) / source * 2;
    return macroblocksAround(first, std::min<std::int64_t>(last, target), target);
}

} // namespace

VideoConverter::VideoConverter(int sourceWidth, int sourceHeight, int targetWidth, int targetHeight)
    : sourceWidth(sourceWidth),
      sourceHeight(sourceHeight),
      targetWidth(targetWidth),
      targetHeight(targetHeight) {
    if (sourceWidth == targetWidth && sourceHeight == targetHeight)
        return;
    scaler.emplace(sourceWidth, sourceHeight, targetWidth, targetHeight);
    unscaled.emplace(PixelFormat::video420, sourceWidth, sourceHeight);
}

Area VideoConverter::targetArea(Area source) const {
    const auto [x, width] = changedSide(source.x, source.width, sourceWidth, targetWidth);
    const auto [y, height] = changedSide(source.y, source.height, sourceHeight, targetHeight);
    return {x, y, width, height};
}

Area VideoConverter::sourceArea(Area target) const {
    const Area chroma =
        scaler->sourceArea({target.x / 2, target.y / 2, target.width / 2, target.height / 2});
    const int x = chroma.x * 2;
    const int y = chroma.y * 2;
    return {x, y, std::min((chroma.x + chroma.width) * 2, sourceWidth) - x,
            std::min((chroma.y + chroma.height) * 2, sourceHeight) - y};
}

void VideoConverter::convert(const PictureView& source, PixelBuffer& target, Area part) {
    if (part.width <= 0 || part.height <= 0)
        return;
    if (!scales())
        return convertColours(source, target, part);
    convertColours(source, *unscaled, sourceArea(part));
    const Area halved{part.x / 2, part.y / 2, part.width / 2, part.height / 2};
    for (const int index : {0, 1}) {
        const auto& from = unscaled->plane(index);
        const auto& to = target.plane(index);
        scaler->scale({from.data, from.bytesPerRow}, {to.data, to.bytesPerRow},
                      index == 0 ? part : halved, index == 0 ? 1 : 2);
    }
}

} // namespace platform::media
