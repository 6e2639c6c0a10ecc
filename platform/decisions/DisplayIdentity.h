#pragma once

#include "platform/Screens.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

/// How displays are told apart. Pure.
namespace platform {

/// Numbers for displays of these names. A number follows from the name, so that it is the same in
/// the next session and in other processes. None is 0, and no two names have the same.
std::map<std::string, DisplayID> displayIDs(const std::vector<std::string>& names);

/// The name that a display gives itself in its EDID (VESA E-EDID, display product name). The bytes
/// come from a device and may be anything. Returns an empty text unless there is a name of
/// printable ASCII characters.
std::string productName(std::span<const std::uint8_t> edid);

} // namespace platform
