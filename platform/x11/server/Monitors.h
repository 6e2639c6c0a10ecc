#pragma once

#include "platform/x11/server/Connection.h"

#include <vector>

namespace platform::x11 {

/// A monitor as RandR 1.5 has it: a rectangle of the root window under a name.
struct Monitor {
    xcb_atom_t name = XCB_ATOM_NONE; ///< The same for as long as the monitor stays connected.
    int x = 0;                       ///< In pixels of the root window.
    int y = 0;
    int width = 0;
    int height = 0;
    bool primary = false;

    friend bool operator==(const Monitor&, const Monitor&) = default;
};

/// The active monitors in the server's order. A server without RandR 1.5, or without any active
/// monitor, has one, the whole root window; a lost one has none.
std::vector<Monitor> monitors(const Connection& connection);

} // namespace platform::x11
