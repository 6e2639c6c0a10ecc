#pragma once

#include "platform/PixelBuffer.h"
#include "platform/media/AreaScaler.h"

#include <cstdint>
#include <optional>

namespace platform::media {

/// A bgra picture in somebody else's memory, which has to outlive the view.
struct PictureView {
    const std::uint8_t* data = nullptr;
    int bytesPerRow = 0;
    int width = 0;
    int height = 0;
};

/// Turns bgra pictures of one size into video420 pictures of one even size, the whole picture or
/// any part of it. Parts give exactly what the whole would have given there. Keeps its scratch
/// memory between calls; used by one thread at a time.
class VideoConverter final {
public:
    /// Sizes in pixels, as PixelBuffer has them; the target's are even.
    VideoConverter(int sourceWidth, int sourceHeight, int targetWidth, int targetHeight);

    Area wholeTarget() const { return {0, 0, targetWidth, targetHeight}; }
    /// What of the target changes when this part of the source does: whole macroblocks, clipped to
    /// the target. Parts outside the source count as far as they reach into it.
    Area targetArea(Area source) const;

    /// Fills one part of the target, which is what `targetArea` or `wholeTarget` says or another
    /// area with even edges inside the target. Both pictures have the sizes of the construction.
    void convert(const PictureView& source, PixelBuffer& target, Area targetArea);

private:
    bool scales() const { return scaler.has_value(); }
    Area sourceArea(Area target) const;

    int sourceWidth;
    int sourceHeight;
    int targetWidth;
    int targetHeight;
    std::optional<AreaScaler> scaler;    // where the sizes differ
    std::optional<PixelBuffer> unscaled; // the source as video420, up to date only where in use
};

} // namespace platform::media
