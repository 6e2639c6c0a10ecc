#pragma once

#include "platform/h264/H264Encoder.h"

#include <x264.h>

namespace platform::h264 {

/// How x264 has to be set up for a desktop at no delay: what the encoder uses, and what benchmarks
/// compare it with.
x264_param_t x264Parameters(const H264Encoder::Settings& settings);

/// The input for x264 that shows a video420 picture, which has to outlive it.
x264_picture_t x264Picture(const PixelBuffer& picture);

/// What x264 takes for a rate or a buffer.
constexpr std::int64_t maxX264Kilobits = 2'000'000;
int x264Kilobits(std::int64_t bits);

} // namespace platform::h264
