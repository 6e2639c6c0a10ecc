#pragma once

#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <optional>

namespace platform::x11 {

/// The device numbers of the desktop's keyboard, which clients see, and of the XTEST keyboard
/// attached to it, which keeps a keymap of its own.
struct Keyboards {
    std::uint16_t desktop = 0;
    std::uint16_t typing = 0;
};

/// Nothing where the server lacks XKB or XInput2. Sets the extensions up for this connection.
std::optional<Keyboards> findKeyboards(const Connection& connection);

} // namespace platform::x11
