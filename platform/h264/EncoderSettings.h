#pragma once

#include <cstdint>

namespace platform::h264 {

/// What has to be known before the first frame is encoded.
struct EncoderSettings {
    std::int32_t width;
    std::int32_t height;
    int framesPerSecond;
    int maxQP;
};

} // namespace platform::h264
