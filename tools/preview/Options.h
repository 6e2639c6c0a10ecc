#pragma once

#include "tools/preview/Child.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace preview {

/// What the command line of orvel-preview asks for.
struct Options {
    /// The program and its arguments.
    Words command;
    /// The port to listen at; any free one if 0.
    std::uint16_t port = 0;
    /// The file that keeps the token; without one the token is a new one every time.
    std::optional<std::filesystem::path> tokenFile;
};

/// The command line's words, without the program's own name. Returns nullopt if they are not
/// understood. `folder` is where orvel-screen is, unless they name another program.
std::optional<Options> parseOptions(const Words& words, const std::filesystem::path& folder);

} // namespace preview
