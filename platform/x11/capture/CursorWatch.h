#pragma once

#include "platform/picture/CursorPainter.h"
#include "platform/x11/server/Connection.h"

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <memory>

namespace platform::x11 {

/// Knows the pointer's looks (XFIXES) and place. Neither is part of the root window's picture, and
/// moving it raises no damage: raw motion of the devices (XInput 2) tells that it may have moved.
class CursorWatch {
public:
    /// Nothing if the server does not tell its pointer's looks. The connection outlives the object.
    static std::unique_ptr<CursorWatch> create(const Connection& connection);

    /// Takes note of an event of the connection.
    void handle(const xcb_generic_event_t& event);
    /// Whether the pointer may have moved or look different.
    bool stirred() const { return moved || imageChanged; }

    /// Asks where it is, and for its looks where they changed.
    void ask();
    /// Waits for what `ask` asked for. True if the looks are new.
    bool answer();

    const picture::CursorImage& image() const { return looks; }
    /// What the image covers, in root coordinates; empty while the pointer is on another screen.
    picture::Area place() const { return covered; }

private:
    explicit CursorWatch(const Connection& connection);
    bool takeImage();

    const Connection& connection;
    bool moved = true;
    bool imageChanged = true;
    bool imageAsked = false;
    xcb_query_pointer_cookie_t askedPlace{};
    xcb_xfixes_get_cursor_image_cookie_t askedImage{};
    picture::CursorImage looks;
    picture::Area covered;
};

} // namespace platform::x11
