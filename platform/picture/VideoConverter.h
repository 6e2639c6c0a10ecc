#pragma once

#include "platform/PixelBuffer.h"
#include "platform/picture/AreaScaler.h"

#include <cstdint>
#include <optional>

namespace platform::picture {

/// Where video420 goes: a whole frame, or a part of one with even edges.
struct VideoView {
    VideoView(const PixelBuffer& frame) : luma(frame.plane(0)), chroma(frame.plane(1)) {}
    VideoView(const PixelBuffer& frame, const Area& part);

    PixelPlane luma;
    PixelPlane chroma;
};

/// Turns bgra frames of one size into video420 frames of one even size, the whole frame or
/// any part of it. Parts give exactly what the whole would have given there. Keeps its scratch
/// memory between calls; used by one thread at a time.
class VideoConverter final {
public:
    /// Sizes in pixels, as PixelBuffer has them; the target's are even.
    VideoConverter(int sourceWidth, int sourceHeight, int targetWidth, int targetHeight);

    Area wholeTarget() const { return target; }
    /// What of the target changes when this part of the source does, with even edges. Parts outside
    /// the source count as far as they reach into it.
    Area targetArea(Area changed) const;

    /// Fills one part of the target: `wholeTarget`, what `targetArea` says, or any other inside the
    /// target with even edges. Both frames have the sizes given at construction.
    void convert(const FrameView& frame, const VideoView& video, Area part);

private:
    struct PlaneScalers {
        PlaneScalers(Area source, Area target);
        AreaScaler luma;
        AreaScaler chroma;
    };
    void convertHalved(const FrameView& frame, const VideoView& video, Area part);
    void convertScaled(const FrameView& frame, const VideoView& video, Area part);

    Area source;
    Area target;
    std::optional<PlaneScalers> scalers; // unless the sizes are the same or exactly halved
    std::optional<PixelBuffer> scratch;  // the source halved, or the source as video420, as far
                                         // as the latest part needed it
};

} // namespace platform::picture
