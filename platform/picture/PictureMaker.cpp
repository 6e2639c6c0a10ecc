#include "platform/picture/PictureMaker.h"

#include <algorithm>

namespace platform::picture {

PictureMaker::PictureMaker(int width, int height)
    : width(width),
      height(height),
      pool(PixelFormat::video420, width, height),
      changed(width, height),
      stale(width, height) {}

void PictureMaker::setSourceSize(int sourceWidth, int sourceHeight) {
    // A picture that is larger by one odd column or row loses it: scaled by so little, text blurs.
    const bool fits = sourceWidth - width <= 1 && sourceHeight - height <= 1 &&
                      sourceWidth >= width && sourceHeight >= height;
    converter.emplace(fits ? width : sourceWidth, fits ? height : sourceHeight, width, height);
    changed.markAll();
}

std::size_t PictureMaker::lent() const {
    return static_cast<std::size_t>(
        std::ranges::count(out, false, [](const auto& picture) { return picture.expired(); }));
}

ImageBuffer PictureMaker::make(const PictureView& source) {
    const auto picture = pool.take();
    auto& changes = picture->changes;
    stale = changed;
    history.addChangesSince(changes.serial, stale);
    stale.cover(areas, mostAreas);
    for (const auto& area : areas)
        converter->convert(source, *picture, area);

    changes.predecessor = history.last();
    changes.serial = nextPictureSerial();
    changes.changedBlocks = changed.bytes();
    history.record(changes.serial, changed);
    changed.clear();
    std::erase_if(out, [](const auto& returned) { return returned.expired(); });
    out.push_back(picture);
    return picture;
}

} // namespace platform::picture
