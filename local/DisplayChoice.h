#pragma once

#include "app/host/Displays.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// The display with the id that `displayArg` gives in decimal, else the main one, else the first;
/// nullptr only if there is none. Points into `displays`.
const Display* chosenDisplay(const std::vector<Display>& displays,
                             const std::optional<std::string>& displayArg);

} // namespace orvel
