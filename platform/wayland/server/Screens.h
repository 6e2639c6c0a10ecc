#pragma once

#include "platform/Screens.h"
#include "platform/wayland/server/Connection.h"

/// The compositor's answers to what platform/Screens.h and platform/Permissions.h ask. Callable
/// from any thread.
namespace platform::wayland {

/// Whether there is a compositor that shows its outputs to be copied.
bool isServed();
/// Whether a compositor says, too, which windows are on them: some must not be seen.
bool offersCapture(const Connection& connection);

std::vector<ActiveDisplay> activeDisplayList();
Rect displayBounds(DisplayID display);
std::optional<std::int64_t> displayPixelWidth(DisplayID display);
bool mayCaptureScreen();
bool mayPostEvents();

} // namespace platform::wayland
