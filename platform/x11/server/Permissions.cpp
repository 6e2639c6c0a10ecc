#include "platform/x11/server/Screens.h"

#include "platform/x11/server/Desktop.h"
#include "platform/x11/server/Monitors.h"
#include "platform/x11/server/Pixels.h"
#include "platform/x11/server/Xkb.h"

#include <xcb/screensaver.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <atomic>

namespace platform::x11 {
namespace {

/// Xwayland says so by an extension, before release 23.1 only in the names of its monitors.
bool isXwayland(const Connection& connection) {
    return connection.has("XWAYLAND") ||
           std::ranges::any_of(monitors(connection), [](const Monitor& each) {
               return each.name.starts_with("XWAYLAND");
           });
}

/// Whether the server gives each window to a Wayland desktop by itself, and its root window stays
/// black. An Xwayland can also have a whole desktop in one window.
bool isRootless(const Connection& connection) {
    // From this release on, it lacks the extension if and only if it is rootless. What is older
    // counts as rootless, as nearly all of them are.
    constexpr std::uint32_t release22dot1 = 12'200'000;
    return isXwayland(connection) && (xcb_get_setup(connection)->release_number < release22dot1 ||
                                      !connection.has(&xcb_screensaver_id));
}

} // namespace

bool isOwnDesktop() {
    const auto connection = desktop();
    return connection && !isRootless(*connection);
}

bool mayCaptureScreen() {
    const auto connection = desktop();
    return connection && pixelLayout(*connection) && !isRootless(*connection);
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
