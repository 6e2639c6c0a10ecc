#pragma once

#include "platform/picture/PixelLayout.h"
#include "platform/x11/server/Connection.h"

#include <optional>

namespace platform::x11 {

/// Returns how the pixels of the root window are kept, in pixmaps of its depth too, or nullopt if
/// that is none of the layouts that can be captured, such as one with a palette.
std::optional<picture::PixelLayout> pixelLayout(const Connection& connection);

} // namespace platform::x11
