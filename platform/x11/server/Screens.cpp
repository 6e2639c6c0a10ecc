#include "platform/Screens.h"

#include "platform/Text.h"
#include "platform/x11/server/Desktop.h"
#include "platform/x11/server/Monitors.h"

#include <algorithm>

namespace platform {
namespace {

using x11::Monitor;

std::vector<Monitor> presentMonitors() {
    const auto connection = x11::desktop();
    return connection ? x11::monitors(*connection) : std::vector<Monitor>{};
}

std::optional<Monitor> monitor(DisplayID display) {
    const auto present = presentMonitors();
    const auto found = std::ranges::find(present, display, &Monitor::name);
    return found != present.end() ? std::optional(*found) : std::nullopt;
}

} // namespace

std::vector<DisplayID> activeDisplayList() {
    std::vector<DisplayID> displays;
    for (const auto& each : presentMonitors())
        displays.push_back(each.name);
    return displays;
}

DisplayID mainDisplayID() {
    const auto present = presentMonitors();
    if (present.empty())
        return 0;
    const auto primary = std::ranges::find(present, true, &Monitor::primary);
    return primary != present.end() ? primary->name : present.front().name;
}

Rect displayBounds(DisplayID display) {
    const auto found = monitor(display);
    if (!found)
        return {};
    return {static_cast<double>(found->x), static_cast<double>(found->y),
            static_cast<double>(found->width), static_cast<double>(found->height)};
}

std::optional<std::int64_t> displayPixelWidth(DisplayID display) {
    const auto found = monitor(display);
    return found ? std::optional<std::int64_t>(found->width) : std::nullopt;
}

std::vector<NamedScreen> namedScreens() {
    const auto connection = x11::desktop();
    if (!connection)
        return {};
    std::vector<NamedScreen> screens;
    for (const auto& each : x11::monitors(*connection))
        screens.push_back({each.name, repairedUTF8(connection->nameOf(each.name))});
    return screens;
}

} // namespace platform
