#pragma once

#include "platform/x11/server/Connection.h"

namespace platform::x11 {

/// Makes a window that nobody sees and that tells of changes of its properties.
inline xcb_window_t createHiddenWindow(const Connection& connection) {
    const xcb_window_t window = xcb_generate_id(connection);
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(connection, 0, window, connection.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                      &events);
    return window;
}

} // namespace platform::x11
