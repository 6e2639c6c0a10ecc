#pragma once

#include "platform/picture/Area.h"
#include "platform/x11/capture/exclusion/DrawingWatch.h"
#include "platform/x11/capture/exclusion/ExcludedWindows.h"
#include "platform/x11/server/Connection.h"

#include <xcb/render.h>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace platform::x11 {

/// Draws parts of the desktop as they would look without some of the windows. It works behind a
/// compositing manager only, which has the server keep the contents of every window, also where
/// others cover it (COMPOSITE).
class Backdrop {
public:
    /// `excluded` is where the excluded windows are or may still be seen, in root coordinates.
    /// Returns nullptr if no compositing manager runs, or if the server lacks an extension. The
    /// connection and `excluded` outlive the object.
    static std::unique_ptr<Backdrop> create(const Connection& connection,
                                            const std::vector<Area>& excluded);

    /// Takes note of an event of the connection. Returns whether `draw` may draw something else
    /// now.
    bool handle(const xcb_create_notify_event_t& event);
    bool handle(const xcb_map_notify_event_t& event);
    bool handle(const xcb_unmap_notify_event_t& event);
    bool handle(const xcb_destroy_notify_event_t& event);
    bool handle(const xcb_configure_notify_event_t& event);
    bool handle(const xcb_reparent_notify_event_t& event);
    bool handle(const xcb_damage_notify_event_t& event, std::uint32_t sequence);

    /// Learns which windows there are, before drawing. Returns false if the compositing manager is
    /// gone.
    bool listWindows();
    /// Draws an area of the root window on a pixmap of its size and depth, over what is there.
    void draw(const Area& area, xcb_pixmap_t onto, const ExcludedWindows& without) const;
    /// Where windows may show a copy of an excluded one, in root coordinates. The server fills a
    /// window that is mapped or gets another size with what the screen shows at that place, until
    /// its program has drawn there.
    std::vector<Area> unpaintedAreas() const;

private:
    /// A mapped child of the root, from the lowest up.
    struct Window {
        xcb_window_t id;
        Area outer; ///< With its border, in root coordinates.
        int border;
        xcb_render_pictformat_t format;
        bool translucent;
    };
    struct Format {
        xcb_render_pictformat_t format;
        bool hasAlpha;
    };
    /// A child of the root, mapped or not, and where it may show a copy of what lies below it.
    struct Watched {
        Watched(const Connection& connection, xcb_window_t window, const Area& outer, int border)
            : watch(connection, window),
              outer(outer),
              border(border) {}

        DrawingWatch watch;
        Area outer;
        int border;
        bool mapped = false;         ///< Else it gets no contents, and nobody paints it.
        std::vector<Area> unpainted; ///< In root coordinates.
    };

    Backdrop(const Connection& connection, const std::vector<Area>& excluded,
             xcb_atom_t compositorSelection, xcb_window_t overlay);
    void readFormats();
    Watched& watch(xcb_window_t window, const Area& outer, int border);
    void drawWallpaper(const Area& area, xcb_render_picture_t target) const;
    void drawWindow(const Window& window, const Area& area, xcb_render_picture_t target) const;

    Watched* find(xcb_window_t window);
    std::vector<Area> excludedPartsOf(const Area& area) const;

    const Connection& connection;
    const std::vector<Area>& excluded;
    xcb_atom_t compositorSelection;
    xcb_window_t overlay; ///< Where the compositing manager draws: that shows everything.
    xcb_atom_t wallpaperProperty;
    std::map<xcb_visualid_t, Format> formats;
    std::vector<Window> windows;
    std::map<xcb_window_t, Watched> watched;
};

} // namespace platform::x11
