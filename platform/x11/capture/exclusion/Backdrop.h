#pragma once

#include "platform/Clock.h"
#include "platform/picture/Area.h"
#include "platform/x11/capture/exclusion/ExcludedWindows.h"
#include "platform/x11/capture/exclusion/PaintedRegions.h"
#include "platform/x11/server/Connection.h"

#include <xcb/render.h>

#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace platform::x11 {

/// Draws parts of the desktop as they would look without some of the windows. While it lives, the
/// server keeps the contents of every window, also where others cover it (COMPOSITE, automatic
/// redirection).
///
/// To be used while the server is grabbed, so that the windows stay as they are.
class Backdrop {
public:
    /// Nothing if the server lacks an extension. The connection outlives the object.
    static std::unique_ptr<Backdrop> create(const Connection& connection);
    ~Backdrop();
    Backdrop(const Backdrop&) = delete;
    Backdrop& operator=(const Backdrop&) = delete;

    /// Takes note of an event of the connection. True if `draw` may draw something else now.
    bool handle(const xcb_generic_event_t& event);
    /// When `draw` will draw something else by itself.
    std::optional<MediaTime> nextChange() const { return painted.nextChange(); }

    /// Learns which windows there are, before drawing.
    void look(MediaTime now);
    /// Draws an area of the root window on a pixmap of its size and depth, over what is there.
    void draw(const Area& area, xcb_pixmap_t onto, const ExcludedWindows& without);

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

    explicit Backdrop(const Connection& connection);
    void readFormats();
    void readCompositor();
    void drawWallpaper(const Area& area, xcb_render_picture_t target) const;
    void drawWindow(const Window& window, const Area& area, xcb_render_picture_t target);

    const Connection& connection;
    std::map<xcb_visualid_t, Format> formats;
    xcb_atom_t wallpaperProperty;
    bool composited = false;         ///< A compositing manager shows translucent windows as such.
    xcb_window_t overlay = XCB_NONE; ///< Where it draws: that shows everything.
    std::vector<Window> windows;
    PaintedRegions painted; ///< Of windows on the screen and the parts of them that count.
};

} // namespace platform::x11
