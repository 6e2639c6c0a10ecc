#pragma once

#include "bench/Scenes.h"
#include "platform/PixelBuffer.h"

#include <vector>

namespace bench {

/// The pictures of a scene, step by step, on a private X server of 1920x1080, as a capture makes
/// them, with what changed in each.
std::vector<platform::ImageBuffer> filmed(SceneKind kind, int count);

} // namespace bench
