#pragma once

#include "platform/x11/server/Connection.h"
#include "platform/x11/server/Monitors.h"

#include <memory>
#include <optional>

/// What questions about displays and permissions share. Callable from any thread.
namespace platform::x11 {

/// Returns the connection they are asked over. It is opened by the first of them, and again after
/// the server was lost; nullptr while there is no server.
std::shared_ptr<const Connection> desktop();

/// Returns the monitor with this number as it is now, or nullopt if there is none. Asks the server
/// only after it has told of a change.
std::optional<Monitor> desktopMonitor(DisplayID display);

} // namespace platform::x11
