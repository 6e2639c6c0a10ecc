#pragma once

#include <optional>
#include <string>

namespace orvel {

/// The `stream` command: shares one of this machine's displays until standard input ends, and
/// ends the process with status 0. Called on the main thread. `displayArg` is the wanted display's
/// id in decimal; anything else means the main display.
[[noreturn]] void stream(const std::optional<std::string>& displayArg);

} // namespace orvel
