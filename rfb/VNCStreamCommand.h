#pragma once

#include "app/host/Arguments.h"

namespace orvel {

/// The `vnc` command: shows a remote desktop until it or standard input ends, and ends the process
/// with status 0. Called on the main thread, with the arguments of vncArguments.
[[noreturn]] void vncStream(Arguments arguments);

} // namespace orvel
