#pragma once

#include "platform/PixelBuffer.h"
#include "platform/h264/EncoderSettings.h"

#include <x264.h>

namespace platform::h264 {

/// How x264 has to be set up for a desktop at no delay: what the encoder uses, and what benchmarks
/// compare it with.
x264_param_t x264Parameters(const EncoderSettings& settings);

/// The input for x264 that shows a video420 frame, which has to outlive it.
x264_picture_t x264Picture(const PixelBuffer& frame);

/// Has x264 look for where the contents of the next frame came from at least this many rows away
/// (0: near their place only), in so many of the frames before. May be changed for each frame.
void chooseSearch(x264_param_t& parameters, int rows, int references);

} // namespace platform::h264
