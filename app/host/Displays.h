#pragma once

#include "platform/Screens.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace orvel {

/// One of this machine's displays, as it was when it was asked for.
struct Display {
    platform::DisplayID id = 0;
    std::string name;      ///< As the desktop calls it, else "Display " and the id.
    platform::Rect bounds; ///< On the desktop, in points.
    bool main = false;     ///< The desktop's first display.

    /// {"id" (a string), "name", "w", "h" (whole points), "main"}.
    nlohmann::json json() const;
};

/// Every active display, in the desktop's order; empty if there is none or no desktop.
std::vector<Display> activeDisplays();

/// The JSON form of several displays: an array.
nlohmann::json displaysJSON(const std::vector<Display>& displays);

} // namespace orvel
