#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The displays of the desktop this process belongs to. Callable from any thread; without a
/// desktop there are no displays, and nothing here fails otherwise.
namespace platform {

/// Names a display for as long as it stays connected.
using DisplayID = std::uint32_t;

/// In points of the desktop's coordinate space, y growing downwards.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double midX() const { return x + width / 2; }
    double midY() const { return y + height / 2; }
    friend bool operator==(const Rect&, const Rect&) = default;
};

/// A screen as the desktop presents it to people; `number` ties it to a display, if anything does.
struct NamedScreen {
    std::optional<DisplayID> number;
    std::string localizedName;
};

/// The active displays in the desktop's own order.
std::vector<DisplayID> activeDisplayList();
/// The display the desktop calls its first, or 0 if there is none.
DisplayID mainDisplayID();
/// The display's rectangle; empty if there is no such display (any more).
Rect displayBounds(DisplayID display);
/// The width of the display's present mode in pixels.
std::optional<std::int64_t> displayPixelWidth(DisplayID display);
std::vector<NamedScreen> namedScreens();

} // namespace platform
