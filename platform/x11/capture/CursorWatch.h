#pragma once

#include "platform/picture/CursorPainter.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventHandlers.h"

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <memory>

namespace platform::x11 {

/// Knows the cursor's image (XFIXES) and place. It is not part of what the root window shows, and
/// moving it does no damage: raw motion of the devices (XInput 2) tells that it may have moved.
/// Nothing tells where a program has put it.
class CursorWatch {
public:
    /// Returns nullptr if the server does not tell its cursor's image. The connection outlives the
    /// object, and that outlives the use of `handlers`, which get all events of the connection.
    static std::unique_ptr<CursorWatch> create(const Connection& connection,
                                               EventHandlers& handlers);

    /// Whether the cursor may have moved or look different.
    bool mayHaveChanged() const { return moved || imageChanged; }

    /// Asks where it is, and for its image if that changed.
    void ask();
    /// Waits for what `ask` asked for. Returns true if the image is new.
    bool answer();

    const picture::CursorImage& image() const { return cursorImage; }
    /// What the image covers, in root coordinates; empty while the cursor is on another screen.
    Area area() const { return covered; }

private:
    CursorWatch(const Connection& connection, EventHandlers& handlers);
    bool takeImage();

    const Connection& connection;
    bool moved = true;
    bool imageChanged = true;
    bool imageAsked = false;
    xcb_query_pointer_cookie_t askedPlace{};
    xcb_xfixes_get_cursor_image_cookie_t askedImage{};
    picture::CursorImage cursorImage;
    Area covered;
};

} // namespace platform::x11
