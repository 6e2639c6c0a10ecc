#include "platform/Screens.h"

#include "platform/Permissions.h"
#include "platform/desktop/Choice.h"
#include "platform/wayland/server/Screens.h"
#include "platform/x11/server/Screens.h"

namespace platform {

using desktop::isWayland;

std::vector<ActiveDisplay> activeDisplayList() {
    return isWayland() ? wayland::activeDisplayList() : x11::activeDisplayList();
}

Rect displayBounds(DisplayID display) {
    return isWayland() ? wayland::displayBounds(display) : x11::displayBounds(display);
}

std::optional<std::int64_t> displayPixelWidth(DisplayID display) {
    return isWayland() ? wayland::displayPixelWidth(display) : x11::displayPixelWidth(display);
}

bool preflightScreenCaptureAccess() {
    return isWayland() ? wayland::mayCaptureScreen() : x11::mayCaptureScreen();
}

bool preflightPostEventAccess() {
    return isWayland() ? wayland::mayPostEvents() : x11::mayPostEvents();
}

} // namespace platform
