#pragma once

#include <span>

namespace orvel {

/// What stands behind the program's name on the command line.
using Arguments = std::span<char* const>;

} // namespace orvel
