#include "platform/picture/FrameMaker.h"

#include "platform/Letterbox.h"

#include <algorithm>

namespace platform::picture {
namespace {

void blacken(const VideoView& video) {
    const auto fill = [](const PixelPlane& plane, int rowBytes, std::uint8_t sample) {
        for (int row = 0; row < plane.height; ++row)
            std::fill_n(plane.data + static_cast<std::ptrdiff_t>(row) * plane.bytesPerRow, rowBytes,
                        sample);
    };
    fill(video.luma, video.luma.width, 16);
    fill(video.chroma, video.chroma.width * 2, 128);
}

} // namespace

FrameMaker::FrameMaker(int width, int height)
    : width(width),
      height(height),
      pool(PixelFormat::video420, width, height),
      dirty(width, height),
      stale(width, height) {}

void FrameMaker::setSourceSize(int sourceWidth, int sourceHeight) {
    shown = shownPart(sourceWidth, sourceHeight, width, height);
    // A frame that is larger by one odd column or row loses it: scaled by so little, text blurs.
    const bool fits = sourceWidth - shown.width <= 1 && sourceHeight - shown.height <= 1 &&
                      sourceWidth >= shown.width && sourceHeight >= shown.height;
    converter.emplace(fits ? shown.width : sourceWidth, fits ? shown.height : sourceHeight,
                      shown.width, shown.height);
    dirty.markAll();
}

std::size_t FrameMaker::framesInFlight() const {
    return static_cast<std::size_t>(
        std::ranges::count(inFlight, false, [](const auto& frame) { return frame.expired(); }));
}

void FrameMaker::fill(const FrameView& source, const PixelBuffer& frame, const Area& area) {
    const Area inside = intersection(area, shown);
    if (inside != area)
        blacken({frame, area});
    converter->convert(source, {frame, shown}, inside.movedBy(-shown.x, -shown.y));
}

ImageBuffer FrameMaker::make(const FrameView& source) {
    const auto frame = pool.take();
    auto& changes = frame->changes;
    stale = dirty;
    history.addChangesSince(changes.serial, stale);
    stale.cover(areas, maxAreas);
    for (const auto& area : areas)
        fill(source, *frame, area);

    changes.predecessor = history.last();
    changes.serial = nextFrameSerial();
    changes.changedBlocks = dirty.bytes();
    history.record(changes.serial, dirty);
    dirty.clear();
    std::erase_if(inFlight, [](const auto& returned) { return returned.expired(); });
    inFlight.push_back(frame);
    return frame;
}

} // namespace platform::picture
