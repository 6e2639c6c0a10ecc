#pragma once

#include "app/host/Arguments.h"

namespace orvel {

/// Runs the command that the first argument names and returns the exit status; the streaming
/// commands end the process themselves. Without a known command: the usage line on standard
/// error, and 2.
int runCommand(Arguments arguments);

} // namespace orvel
