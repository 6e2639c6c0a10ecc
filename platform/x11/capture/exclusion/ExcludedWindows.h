#pragma once

#include "platform/Clock.h"
#include "platform/picture/Area.h"
#include "platform/x11/server/Connection.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace platform::x11 {

using picture::Area;

/// Knows which windows on the desktop belong to some applications, and where they are. Learns it
/// from the root window's structure events alone, which must be selected before the construction;
/// when all events have been handled, it knows how things stand.
class ExcludedWindows {
public:
    /// The applications' identifiers: a word of WM_CLASS (ICCCM 4.1.2.5), or the application id
    /// that toolkits set. The connection outlives the object.
    ExcludedWindows(const Connection& connection, std::vector<std::string> applications);

    /// Takes note of an event of the connection. True if it may have changed the answers.
    bool handle(const xcb_generic_event_t& event);

    /// Whether this child of the root is or holds a window of the applications.
    bool has(xcb_window_t window) const;
    /// What they may cover, in root coordinates: where they are, and where they were up to a
    /// second ago, as a compositing manager shows them there a little longer.
    std::vector<Area> places(MediaTime now) const;
    /// When `places` will change by itself.
    std::optional<MediaTime> nextChange(MediaTime now) const;

private:
    struct Place {
        Area area; // empty once it is gone
        Area trail;
        MediaTime trailEnds;
    };

    void look(const std::vector<xcb_window_t>& children);
    bool lookAtFrame(xcb_window_t window);
    void place(xcb_window_t window, const Area& area);
    bool leave(xcb_window_t window);
    std::vector<xcb_window_t> belonging(const std::vector<xcb_window_t>& children) const;
    bool namesApplication(const xcb_get_property_reply_t* property) const;

    const Connection& connection;
    std::vector<std::string> applications;
    std::vector<xcb_atom_t> namingProperties;
    std::map<xcb_window_t, Place> windows;
};

} // namespace platform::x11
