#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The displays of the desktop this process belongs to. Callable from any thread; without a
/// desktop there are no displays, and nothing here fails otherwise.
namespace platform {

/// Names a display, and the same one again after it was unplugged or its desktop started anew.
/// Never 0.
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

/// A display as it is at one moment.
struct ActiveDisplay {
    DisplayID id = 0;
    std::string name; ///< As the desktop presents it to people, in UTF-8; empty if it does not.
    Rect bounds;
    bool main = false; ///< The one that the desktop calls its first.
};

/// The active displays in the desktop's own order, all as they are at one moment.
std::vector<ActiveDisplay> activeDisplayList();
/// The display's rectangle as it is now; without any extent if there is no such display (any more).
/// Costs little: it is asked for with every movement of the pointer.
Rect displayBounds(DisplayID display);
/// The width of the display's present mode in pixels; nullopt if there is no such display.
std::optional<std::int64_t> displayPixelWidth(DisplayID display);

} // namespace platform
