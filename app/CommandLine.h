#pragma once

#include <optional>
#include <span>
#include <string>

namespace orvel {

/// The arguments without the program's name.
using Arguments = std::span<char* const>;

/// The text behind the first "--display", if any stands behind it.
std::optional<std::string> displayArgument(Arguments arguments);

/// Runs the command that the first argument names and returns the exit status; the streaming
/// commands end the process themselves. Without a known command: the usage line on standard
/// error, and 2.
int runCommand(Arguments arguments);

} // namespace orvel
