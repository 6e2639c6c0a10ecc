#pragma once

#include "platform/Screens.h"

/// The compositor's answers to what platform/Screens.h and platform/Permissions.h ask. Callable
/// from any thread.
namespace platform::wayland {

/// Whether there is a compositor that offers the protocols without which nothing here works.
bool isServed();

std::vector<ActiveDisplay> activeDisplayList();
Rect displayBounds(DisplayID display);
std::optional<std::int64_t> displayPixelWidth(DisplayID display);
bool mayCaptureScreen();
bool mayPostEvents();

} // namespace platform::wayland
