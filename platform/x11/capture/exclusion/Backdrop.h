#pragma once

#include "platform/picture/Area.h"
#include "platform/x11/capture/exclusion/DrawingWatch.h"
#include "platform/x11/capture/exclusion/ExcludedWindows.h"
#include "platform/x11/server/Connection.h"

#include <xcb/render.h>

#include <map>
#include <memory>
#include <vector>

namespace platform::x11 {

/// Draws parts of the desktop as they would look without some of the windows. It works behind a
/// compositing manager only, which has the server keep the contents of every window, also where
/// others cover it (COMPOSITE).
class Backdrop {
public:
    /// Returns nullptr if no compositing manager runs, or if the server lacks an extension. The
    /// connection outlives the object.
    static std::unique_ptr<Backdrop> create(const Connection& connection);

    /// Takes note of an event of the connection, while the excluded windows are or have been at
    /// `excludedAreas` (root coordinates). Returns true if `draw` may draw something else now.
    bool handle(const xcb_generic_event_t& event, const std::vector<Area>& excludedAreas);

    /// Learns which windows there are, before drawing. Returns false if the compositing manager is
    /// gone.
    bool look();
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

        /// Returns true if the event tells of a drawing on it in one of the excluded areas.
        bool painted(const xcb_generic_event_t& event, const std::vector<Area>& excludedAreas);
        void configured(const xcb_configure_notify_event_t& event,
                        const std::vector<Area>& excludedAreas);

        DrawingWatch watch;
        Area outer;
        int border;
        std::vector<Area> unpainted; ///< In root coordinates.
    };

    Backdrop(const Connection& connection, xcb_atom_t compositorSelection, xcb_window_t overlay);
    void readFormats();
    void watch(xcb_window_t window, const Area& outer, int border);
    void drawWallpaper(const Area& area, xcb_render_picture_t target) const;
    void drawWindow(const Window& window, const Area& area, xcb_render_picture_t target) const;

    const Connection& connection;
    xcb_atom_t compositorSelection;
    xcb_window_t overlay; ///< Where the compositing manager draws: that shows everything.
    xcb_atom_t wallpaperProperty;
    std::uint32_t begun = 0; ///< The number of a request.
    std::map<xcb_visualid_t, Format> formats;
    std::vector<Window> windows;
    std::map<xcb_window_t, Watched> watched;
};

} // namespace platform::x11
