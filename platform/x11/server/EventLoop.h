#pragma once

#include "platform/support/EventLoop.h"
#include "platform/x11/server/EventHandlers.h"

namespace platform::x11 {

/// Of a thread that waits for an X connection.
using EventLoop = platform::EventLoop<EventHandlers>;

} // namespace platform::x11
