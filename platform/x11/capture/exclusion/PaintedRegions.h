#pragma once

#include "platform/Clock.h"
#include "platform/picture/Area.h"
#include "platform/x11/server/Connection.h"

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <map>
#include <optional>

namespace platform::x11 {

/// Knows which parts of the desktop's windows show what their programs painted.
///
/// When the server starts to keep the contents of a window apart (COMPOSITE), and when such a
/// window is mapped or gets another size, it fills the memory with what is on the screen at that
/// place, other windows included. So pixels count only from when they were painted while we
/// watched (DAMAGE). The server tells the program to repaint; until it has, the region is smaller
/// than the window.
class PaintedRegions {
public:
    /// The connection outlives the object.
    explicit PaintedRegions(const Connection& connection);
    ~PaintedRegions();
    PaintedRegions(const PaintedRegions&) = delete;
    PaintedRegions& operator=(const PaintedRegions&) = delete;

    /// Counts what can be seen of a mapped window now. To be called before its contents are kept
    /// apart; what covers it then does not count.
    void addVisible(xcb_window_t window, const picture::Area& outer);

    /// Takes note of an event of the connection. True if a window's region may have grown.
    bool handle(const xcb_generic_event_t& event);
    /// When a region will grow by itself.
    std::optional<MediaTime> nextChange() const;
    /// Lets those grow whose time has come.
    void grow(MediaTime now);

    /// The region of a mapped window, relative to the upper left inside its border; it may reach
    /// beyond the window. `outer` is the window with its border.
    xcb_xfixes_region_t of(xcb_window_t window, const picture::Area& outer);

private:
    struct Contents {
        xcb_damage_damage_t damage = XCB_NONE;
        xcb_xfixes_region_t painted = XCB_NONE;
        int width = 0; ///< With the border; 0: not known yet.
        int height = 0;
        /// When all of the window will count, if it may have been painted before we watched: a
        /// program that has painted since, and had the time, has painted its window as a whole.
        std::optional<MediaTime> complete;
        /// The number of the request that dropped what was painted before.
        std::uint32_t dropped = 0;
        bool paintedSince = false;
    };

    Contents& watch(xcb_window_t window);
    void startOver(xcb_window_t window);
    void forget(xcb_window_t window);
    void drop(const Contents& contents) const;

    const Connection& connection;
    xcb_xfixes_region_t parts; // scratch
    std::map<xcb_window_t, Contents> windows;
};

} // namespace platform::x11
