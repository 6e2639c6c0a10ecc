#include "platform/Permissions.h"

#include "platform/x11/server/Desktop.h"
#include "platform/x11/server/Monitors.h"
#include "platform/x11/server/Pixels.h"
#include "platform/x11/server/Xkb.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <atomic>

namespace platform {
namespace {

using x11::Connection;
using x11::Monitor;

/// Servers that draw on a Wayland desktop say so by an extension, older ones only in the names of
/// their monitors.
bool isGuestOfWayland(const Connection& connection) {
    if (connection.has("XWAYLAND"))
        return true;
    return std::ranges::any_of(x11::monitors(connection), [](const Monitor& each) {
        return each.name.starts_with("XWAYLAND");
    });
}

} // namespace

bool preflightScreenCaptureAccess() {
    // A Wayland desktop keeps its picture to itself: the root window of its X server is black.
    const auto connection = x11::desktop();
    return connection && x11::pixelLayout(*connection) && !isGuestOfWayland(*connection);
}

bool preflightPostEventAccess() {
    // What the newest server said: one that is lost withdraws no permission.
    static std::atomic<bool> granted = false;
    const auto connection = x11::desktop();
    const bool answer = connection && connection->has(&xcb_test_id) && connection->has(&xcb_xkb_id);
    if (connection && !connection->lost())
        granted = answer;
    return granted;
}

} // namespace platform
