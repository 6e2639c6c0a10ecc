#pragma once

#include "platform/PixelBuffer.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace test {

/// A video420 picture whose pixel at x, y is the colour 0xRRGGBB that `colour` gives.
std::shared_ptr<platform::PixelBuffer>
painted(int width, int height, const std::function<std::uint32_t(int, int)>& colour);

/// A video420 picture no encoder can do much about: each sample of both planes is random.
std::shared_ptr<platform::PixelBuffer> noise(int width, int height, unsigned seed);

} // namespace test
