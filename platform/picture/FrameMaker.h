#pragma once

#include "platform/PixelBuffer.h"
#include "platform/picture/BlockMap.h"
#include "platform/picture/FrameHistory.h"
#include "platform/picture/VideoConverter.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace platform::picture {

/// Makes the frames of a stream, in video420 and one size, from a bgra frame that changes a
/// little at a time. Converts no more than what has changed since the memory at hand held an
/// earlier frame of the stream, and tells with each frame what changed in it. Confined to one
/// thread; the frames are not.
class FrameMaker {
public:
    /// Of the frames, in pixels; even.
    FrameMaker(int width, int height);

    /// The source has a size (at most `maxFrameSide` each way) from now on, and nothing in common
    /// with what it was before. Once before anything else. It is scaled into the frames (a single
    /// odd column or row is left out instead), between black bars if its shape is not theirs.
    void setSourceSize(int sourceWidth, int sourceHeight);
    /// Says that an area of the source has changed.
    void mark(const Area& sourceArea) {
        dirty.mark(converter->targetArea(sourceArea).movedBy(shown.x, shown.y));
    }
    /// Whether the next frame would differ from the last one.
    bool hasDirtyBlocks() const { return !dirty.empty(); }
    /// How many frames are still used by others.
    std::size_t framesInFlight() const;
    /// The frame of the source as it is now.
    ImageBuffer make(const FrameView& source);

private:
    void fill(const FrameView& source, const PixelBuffer& frame, const Area& area);

    /// Calls of the converter for scattered blocks cost more than what lies between them.
    static constexpr std::size_t maxAreas = 64;

    int width;
    int height;
    PixelBufferPool pool;
    Area shown;                              // the part of a frame that shows the source
    std::optional<VideoConverter> converter; // from the source to that part
    FrameHistory history;
    BlockMap dirty; // blocks of the target, since the last frame
    BlockMap stale; // scratch: where the memory at hand is not up to date
    std::vector<Area> areas;
    std::vector<std::weak_ptr<const PixelBuffer>> inFlight;
};

} // namespace platform::picture
