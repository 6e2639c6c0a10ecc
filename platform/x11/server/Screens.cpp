#include "platform/x11/server/Screens.h"

#include "platform/x11/server/Desktop.h"

#include <algorithm>

namespace platform::x11 {
namespace {

Rect boundsOf(const Monitor& monitor) {
    return {static_cast<double>(monitor.x), static_cast<double>(monitor.y),
            static_cast<double>(monitor.width), static_cast<double>(monitor.height)};
}

} // namespace

std::vector<ActiveDisplay> activeDisplayList() {
    const auto connection = desktop();
    if (!connection)
        return {};
    const auto monitors = x11::monitors(*connection);
    const auto names = displayNames(*connection, monitors);
    std::vector<ActiveDisplay> displays;
    for (std::size_t index = 0; index < monitors.size(); ++index)
        displays.push_back(
            {monitors[index].id, names[index], boundsOf(monitors[index]), monitors[index].primary});
    if (!displays.empty() && std::ranges::none_of(displays, &ActiveDisplay::main))
        displays.front().main = true;
    return displays;
}

Rect displayBounds(DisplayID display) {
    const auto monitor = desktopMonitor(display);
    return monitor ? boundsOf(*monitor) : Rect{};
}

std::optional<std::int64_t> displayPixelWidth(DisplayID display) {
    const auto monitor = desktopMonitor(display);
    return monitor ? std::optional<std::int64_t>(monitor->width) : std::nullopt;
}

} // namespace platform::x11
