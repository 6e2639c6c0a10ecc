#include "platform/picture/FrameMaker.h"

#include <algorithm>

namespace platform::picture {

FrameMaker::FrameMaker(int width, int height)
    : width(width),
      height(height),
      pool(PixelFormat::video420, width, height),
      dirty(width, height),
      stale(width, height) {}

void FrameMaker::setSourceSize(int sourceWidth, int sourceHeight) {
    // A frame that is larger by one odd column or row loses it: scaled by so little, text blurs.
    const bool fits = sourceWidth - width <= 1 && sourceHeight - height <= 1 &&
                      sourceWidth >= width && sourceHeight >= height;
    converter.emplace(fits ? width : sourceWidth, fits ? height : sourceHeight, width, height);
    dirty.markAll();
}

std::size_t FrameMaker::framesInFlight() const {
    return static_cast<std::size_t>(
        std::ranges::count(inFlight, false, [](const auto& frame) { return frame.expired(); }));
}

ImageBuffer FrameMaker::make(const FrameView& source) {
    const auto frame = pool.take();
    auto& changes = frame->changes;
    stale = dirty;
    history.addChangesSince(changes.serial, stale);
    stale.cover(areas, maxAreas);
    for (const auto& area : areas)
        converter->convert(source, *frame, area);

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
