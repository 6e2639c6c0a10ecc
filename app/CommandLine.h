#pragma once

#include "app/host/Arguments.h"

#include <optional>
#include <string>

namespace orvel {

/// The text behind the first "--display", if any stands behind it.
std::optional<std::string> displayArgument(Arguments arguments);

/// Runs the command that the first argument names and returns the exit status; the streaming
/// commands end the process themselves. Without a known command: the usage line on standard
/// error, and 2.
int runCommand(Arguments arguments);

} // namespace orvel
