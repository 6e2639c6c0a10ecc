#pragma once

#include "platform/Screens.h"
#include "platform/x11/server/Connection.h"

#include <xcb/randr.h>

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

/// Has the server tell this connection of changes to its monitors, and of whatever else happens on
/// the root window that `rootEvents` selects: a connection has but one selection there.
void watchMonitors(const Connection& connection, std::uint32_t rootEvents = 0);
/// Whether the event tells that `monitors` may give another answer than before.
bool isAboutMonitors(const Connection& connection, const xcb_generic_event_t& event);

} // namespace platform::x11
