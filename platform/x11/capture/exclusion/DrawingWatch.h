#pragma once

#include "platform/picture/Area.h"
#include "platform/x11/server/Connection.h"

#include <xcb/damage.h>

#include <cstdint>
#include <optional>

namespace platform::x11 {

/// Has the server tell of everything that is drawn on a window and on the windows in it (DAMAGE,
/// one event for each drawing). The events stand in the same queue as those of the windows'
/// coming and going, so what was drawn after one of those is known for certain.
class DrawingWatch {
public:
    /// The connection outlives the object.
    DrawingWatch(const Connection& connection, xcb_window_t window)
        : connection(connection),
          damage(xcb_generate_id(connection)),
          begun(
              xcb_damage_create(connection, damage, window, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES)
                  .sequence) {}
    ~DrawingWatch() { xcb_damage_destroy(connection, damage); }
    DrawingWatch(const DrawingWatch&) = delete;
    DrawingWatch& operator=(const DrawingWatch&) = delete;

    /// Returns where was drawn, if this event of the connection tells of it, in coordinates of the
    /// window's inside.
    std::optional<Area> drawn(const xcb_damage_notify_event_t& event,
                              std::uint32_t sequence) const {
        // The request that begins a watch is answered with all that can be seen of the window.
        // Sequence numbers wrap around.
        if (event.damage != damage || static_cast<std::int32_t>(sequence - begun) <= 0)
            return std::nullopt;
        return Area{event.area.x, event.area.y, event.area.width, event.area.height};
    }

private:
    const Connection& connection;
    xcb_damage_damage_t damage;
    std::uint32_t begun; // the number of the request
};

} // namespace platform::x11
