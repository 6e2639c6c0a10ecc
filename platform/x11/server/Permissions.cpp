#include "platform/x11/server/Screens.h"

#include "platform/x11/server/Desktop.h"
#include "platform/x11/server/Monitors.h"
#include "platform/x11/server/Pixels.h"
#include "platform/x11/server/Xkb.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <atomic>

namespace platform::x11 {
namespace {

/// Servers that draw on a Wayland desktop say so by an extension, older ones only in the names of
/// their monitors.
bool isGuestOfWayland(const Connection& connection) {
    if (connection.has("XWAYLAND"))
        return true;
    return std::ranges::any_of(monitors(connection), [](const Monitor& each) {
        return each.name.starts_with("XWAYLAND");
    });
}

} // namespace

bool isOwnDesktop() {
    const auto connection = desktop();
    return connection && !isGuestOfWayland(*connection);
}

bool mayCaptureScreen() {
    // A Wayland desktop keeps its picture to itself: the root window of its X server is black.
    const auto connection = desktop();
    return connection && pixelLayout(*connection) && !isGuestOfWayland(*connection);
}

bool mayPostEvents() {
    // What the newest server said: one that is lost withdraws no permission.
    static std::atomic<bool> granted = false;
    const auto connection = desktop();
    const bool answer = connection && connection->has(&xcb_test_id) && connection->has(&xcb_xkb_id);
    if (connection && !connection->lost())
        granted = answer;
    return granted;
}

} // namespace platform::x11
