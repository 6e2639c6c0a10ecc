#pragma once

#include "platform/Screens.h"

/// The X server's answers to what platform/Screens.h and platform/Permissions.h ask. Callable from
/// any thread.
namespace platform::x11 {

/// Whether there is a server with a desktop of its own: not one that draws its windows on a Wayland
/// desktop.
bool isOwnDesktop();

std::vector<ActiveDisplay> activeDisplayList();
Rect displayBounds(DisplayID display);
std::optional<std::int64_t> displayPixelWidth(DisplayID display);
bool mayCaptureScreen();
bool mayPostEvents();

} // namespace platform::x11
