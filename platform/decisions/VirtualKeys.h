#pragma once

#include "platform/Events.h"
#include "platform/decisions/KeyMap.h"

#include <optional>

namespace platform {

/// What the key at this place of an ANSI keyboard means: the keysym it gives without Shift.
std::optional<Keysym> symbolOf(VirtualKey key);

} // namespace platform
