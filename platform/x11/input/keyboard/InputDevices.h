#pragma once

#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <optional>
#include <set>

namespace platform::x11 {

/// The devices through which XTEST input comes, as far as they can be told from others.
struct InputDevices {
    /// The one that has the keymap of what is typed: the XTEST keyboard of the desktop. A server
    /// without XInput2 has one keyboard only.
    std::uint16_t keyboard = 0;
    /// XTEST pointers and keyboards.
    std::set<std::uint16_t> simulated;
    /// Whether the server reports the input of each device while it happens (XInput 2.1).
    bool reported = false;
};

/// Returns nullopt if the server lacks XKB. Sets the extensions up for this connection.
std::optional<InputDevices> findInputDevices(const Connection& connection);

} // namespace platform::x11
