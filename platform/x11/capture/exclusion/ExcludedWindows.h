#pragma once

#include "platform/picture/Area.h"
#include "platform/x11/server/Connection.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace platform::x11 {

/// Where a window is with its border. Its position is that of the border, its size that of what
/// the border surrounds.
template<class Geometry>
Area outerArea(const Geometry& window) {
    return {window.x, window.y, window.width + 2 * window.border_width,
            window.height + 2 * window.border_width};
}

/// Knows which windows on the desktop belong to some applications, and where they are. Learns it
/// from the root window's structure events alone, which must be selected before the construction;
/// when all events have been handled, it knows how things stand.
class ExcludedWindows {
public:
    /// The applications' identifiers: a word of WM_CLASS (ICCCM 4.1.2.5), or the application id
    /// that toolkits set. The connection outlives the object.
    ExcludedWindows(const Connection& connection, std::vector<std::string> applications);

    /// Takes note of an event of the connection. Returns whether it may have changed what `has`
    /// and `areas` say.
    bool handle(const xcb_create_notify_event_t& event);
    bool handle(const xcb_map_notify_event_t& event);
    bool handle(const xcb_unmap_notify_event_t& event);
    bool handle(const xcb_destroy_notify_event_t& event);
    bool handle(const xcb_configure_notify_event_t& event);
    bool handle(const xcb_reparent_notify_event_t& event);

    /// Whether this child of the root is or holds a window of the applications.
    bool has(xcb_window_t window) const;
    /// Where they are, in root coordinates.
    std::vector<Area> areas() const;
    /// Where they have been and may still be seen, in root coordinates; what came up since the last
    /// call.
    std::vector<Area> takeLeftAreas();

private:
    /// A window that is, or is in, a child of the root.
    struct Descendant {
        xcb_window_t window;
        xcb_window_t child;
    };
    /// Finds those of these children of the root that belong to the applications and are mapped.
    void adopt(const std::vector<xcb_window_t>& candidates);
    /// The same with the child that this window is in. Returns whether it is one of them.
    bool adoptAround(xcb_window_t window);
    std::vector<xcb_window_t> belonging(const std::vector<xcb_window_t>& candidates) const;
    /// Adds to `found` the children of the root whose windows of this level have a name of the
    /// applications. Returns the windows of the next level.
    std::vector<Descendant> searchLevel(const std::vector<Descendant>& level,
                                        std::set<xcb_window_t>& found) const;
    bool namesApplication(const xcb_get_property_reply_t* property) const;
    Area areaOf(xcb_window_t child);
    void place(xcb_window_t child, const Area& area);
    /// Returns false if it was none of the applications'.
    bool leave(xcb_window_t child);

    const Connection& connection;
    std::vector<std::string> applications;
    std::vector<xcb_atom_t> namingProperties;
    std::map<xcb_window_t, Area> windows; // children of the root
    /// The places of all children of the root, as of the events handled so far: the server may be
    /// further on.
    std::map<xcb_window_t, Area> children;
    std::vector<Area> leftAreas;
};

} // namespace platform::x11
