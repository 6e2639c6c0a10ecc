#pragma once

#include "platform/Screens.h"

#include <optional>
#include <string>
#include <vector>

namespace platform::wayland {

/// Where sway shows windows of these applications (by app id, or by class or instance for X
/// clients), with their title bars, in points of the desktop's coordinate space; for each window
/// that it does not show now, an empty place. Asks over sway's
/// own socket, whose name is in SWAYSOCK; waits no longer than a second for each part of the
/// answer. Returns nullopt if there is no such socket or no answer that can be understood.
///
/// The compositor answers with what it is about to show: it may go on showing a window where it was
/// until the clients concerned are ready, for a fifth of a second by default.
std::optional<std::vector<Rect>> placesInSway(const std::vector<std::string>& applications);

/// Whether the window that has the keyboard's focus is an X client's. Asks in the same way.
std::optional<bool> xClientHasFocusInSway();

} // namespace platform::wayland
