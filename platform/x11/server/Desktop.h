#pragma once

#include "platform/x11/server/Connection.h"

#include <memory>

namespace platform::x11 {

/// The connection that questions about displays and permissions share. It is opened by the first
/// of them, and again after the server was lost; nullptr while there is no server. Callable from
/// any thread.
std::shared_ptr<const Connection> desktop();

} // namespace platform::x11
