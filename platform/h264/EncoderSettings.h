#pragma once

#include <cstdint>

namespace platform::h264 {

/// What has to be known before the first frame is encoded.
struct EncoderSettings {
    std::int32_t width; ///< In pixels; see isVideoSide.
    std::int32_t height;
    int framesPerSecond; ///< 1 to 1000; what decoders are told, and what the level follows from.
    int maxQP;           ///< The coarsest quantiser that any frame will have, 1 to 51.
};

} // namespace platform::h264
