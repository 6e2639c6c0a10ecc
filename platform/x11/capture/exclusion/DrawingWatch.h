#pragma once

#include "platform/picture/Area.h"
#include "platform/x11/server/Connection.h"

#include <xcb/damage.h>

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
    std::optional<picture::Area> drawn(const xcb_generic_event_t& event) const {
        if ((event.response_type & 0x7F) !=
            connection.firstEvent(&xcb_damage_id) + XCB_DAMAGE_NOTIFY)
            return std::nullopt;
        const auto& notify = reinterpret_cast<const xcb_damage_notify_event_t&>(event);
        // The request that begins a watch is answered with all that can be seen of the window.
        if (notify.damage != damage || !isAfterBeginning(event))
            return std::nullopt;
        return picture::Area{notify.area.x, notify.area.y, notify.area.width, notify.area.height};
    }

    /// Whether the event came about after the watch began; sequence numbers wrap around.
    bool isAfterBeginning(const xcb_generic_event_t& event) const {
        return static_cast<std::int32_t>(event.full_sequence - begun) > 0;
    }

private:
    const Connection& connection;
    xcb_damage_damage_t damage;
    std::uint32_t begun; // the number of the request
};

} // namespace platform::x11
