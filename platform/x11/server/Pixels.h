#pragma once

#include "platform/picture/PixelLayout.h"
#include "platform/x11/server/Connection.h"

#include <optional>

namespace platform::x11 {

/// How the pixels of the root window's pictures are kept; nullopt if that is none of the layouts
/// that can be captured, such as one with a palette.
std::optional<picture::PixelLayout> pixelLayout(const Connection& connection);

} // namespace platform::x11
