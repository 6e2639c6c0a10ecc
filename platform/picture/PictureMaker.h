#pragma once

#include "platform/PixelBuffer.h"
#include "platform/picture/BlockMap.h"
#include "platform/picture/PictureHistory.h"
#include "platform/picture/VideoConverter.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace platform::picture {

/// Makes the pictures of a stream, in video420 and one size, from a bgra picture that changes a
/// little at a time. Converts no more than what has changed since the memory at hand held an
/// earlier picture of the stream, and tells with each picture what changed in it. Confined to one
/// thread; the pictures are not.
class PictureMaker {
public:
    /// Of the pictures, in pixels; even.
    PictureMaker(int width, int height);

    /// The source has a size (at most 16384 each way) from now on, and nothing in common with what
    /// it was before. Once before anything else. It is scaled into the pictures, unless it
    /// has but a column or row more: then that is left out.
    void setSourceSize(int sourceWidth, int sourceHeight);
    /// Says that an area of the source has changed.
    void mark(const Area& sourceArea) { changed.mark(converter->targetArea(sourceArea)); }
    /// Whether anything of the next picture would be new.
    bool hasNews() const { return !changed.empty(); }
    /// How many pictures are still with others.
    std::size_t lent() const;
    /// The picture of the source as it is now.
    ImageBuffer make(const PictureView& source);

private:
    /// Calls of the converter for scattered blocks cost more than what lies between them.
    static constexpr std::size_t mostAreas = 64;

    int width;
    int height;
    PixelBufferPool pool;
    std::optional<VideoConverter> converter;
    PictureHistory history;
    BlockMap changed; // of the target, since the last picture
    BlockMap stale;   // scratch: where the memory at hand is not up to date
    std::vector<Area> areas;
    std::vector<std::weak_ptr<const PixelBuffer>> out;
};

} // namespace platform::picture
