#pragma once

#include "platform/support/EventLoop.h"
#include "platform/wayland/server/Connection.h"

namespace platform::wayland {

/// Of a thread that waits for the compositor.
using EventLoop = platform::EventLoop<const Connection>;

} // namespace platform::wayland
