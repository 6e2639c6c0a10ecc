#pragma once

#include "platform/Screens.h"

#include <cstdint>

namespace orvel {

/// In pixels, both even.
struct VideoSize {
    std::int64_t width = 0;
    std::int64_t height = 0;

    friend bool operator==(const VideoSize&, const VideoSize&) = default;
};

/// The size of the video of a display: its own shape and pixels, but no wider than `maxw`; both
/// sides rounded down to even numbers.
VideoSize videoSize(const platform::Rect& bounds, std::int64_t pixelWidth, int maxw);

} // namespace orvel
