#pragma once

#include "platform/Screens.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventHandlers.h"

#include <xcb/randr.h>

#include <functional>
#include <string>
#include <vector>

namespace platform::x11 {

/// A monitor as RandR 1.5 has it: a rectangle of the root window under a name.
struct Monitor {
    DisplayID id = 0;
    std::string name; ///< Its connector's, or the one it was set up under, in any encoding.
    int x = 0;        ///< In pixels of the root window.
    int y = 0;
    int width = 0;
    int height = 0;
    bool primary = false;
    /// The connector; XCB_NONE if it was set up by hand, or if there is no RandR.
    xcb_randr_output_t connector = XCB_NONE;
};

/// The active monitors in the server's order. A server without RandR 1.5, or without any active
/// monitor, has one, the whole root window; a lost one has none.
std::vector<Monitor> monitors(const Connection& connection);

/// The names of these monitors for people, in UTF-8: what a monitor calls itself, else its own
/// name. Monitors that call themselves the same are told apart by their connectors.
std::vector<std::string> displayNames(const Connection& connection,
                                      const std::vector<Monitor>& monitors);

/// Has `changed` called for each event after which `monitors` may give another answer. The server
/// tells of what else happens on the root window, too, as far as `rootEvents` selects it: a
/// connection has but one selection there.
void watchMonitors(const Connection& connection, EventHandlers& handlers,
                   const std::function<void()>& changed, std::uint32_t rootEvents = 0);

} // namespace platform::x11
