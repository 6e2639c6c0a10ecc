#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace test {

/// Owns what XCB has handed over.
template<class T>
std::unique_ptr<T, decltype(&std::free)> owned(T* memory) {
    return {memory, &std::free};
}

/// An event as what its number says it is.
template<class Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

struct Box {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// How a window is made. Colours are 0xRRGGBB.
struct WindowLook {
    std::uint32_t colour = 0;       ///< Of its background.
    std::string instance{};         ///< WM_CLASS, if not empty.
    std::string applicationClass{}; ///< The second word of WM_CLASS.
    bool overrideRedirect = false;  ///< As menus are.
    bool withoutBackground = false;
    xcb_window_t parent = XCB_NONE; ///< The root if there is none.
};

/// A client that draws on an X server as the desktop's programs do. What it asked for is done when
/// the next `sync` returns. Throws std::runtime_error if the server can't be reached.
class XClient {
public:
    explicit XClient(const std::string& display);

    xcb_connection_t* connection() const { return open.get(); }
    xcb_window_t root() const { return screen->root; }
    /// Waits until the server has carried out everything asked for so far.
    void sync() const;
    xcb_atom_t atom(const std::string& name) const;

    /// Sends a client message of type NOTICE to this client's own window, to end its event loop.
    void sayGoodbye(xcb_window_t window) const;

    /// Makes a window and does not map it.
    xcb_window_t createWindow(Box place, const WindowLook& look = {}) const;
    /// Makes one and maps it.
    xcb_window_t showWindow(Box place, const WindowLook& look = {}) const {
        const auto window = createWindow(place, look);
        map(window);
        return window;
    }
    void destroy(xcb_window_t window) const { xcb_destroy_window(connection(), window); }
    void map(xcb_window_t window) const { xcb_map_window(connection(), window); }
    void unmap(xcb_window_t window) const { xcb_unmap_window(connection(), window); }
    void move(xcb_window_t window, int x, int y) const {
        configure(window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, x, y);
    }
    void resize(xcb_window_t window, int width, int height) const {
        configure(window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, width, height);
    }
    void raise(xcb_window_t window) const {
        configure(window, XCB_CONFIG_WINDOW_STACK_MODE, XCB_STACK_MODE_ABOVE, 0);
    }
    void reparent(xcb_window_t window, xcb_window_t parent, int x, int y) const;

    /// Gives the keyboard to the topmost window that is on the screen; false if there is none.
    bool focusTopmost() const;

    /// Draws into a window or pixmap of the root's depth.
    void fill(xcb_drawable_t target, Box box, std::uint32_t colour) const;
    /// Rows of 0x00RRGGBB from the top; as many as the box has pixels.
    void putImage(xcb_drawable_t target, Box box, const std::vector<std::uint32_t>& pixels) const;

    /// Moves the pointer as a mouse would, on the whole root window.
    void movePointer(int x, int y) const { fakeInput(XCB_MOTION_NOTIFY, 0, x, y); }
    /// Puts it somewhere else as an application would.
    void warpPointer(int x, int y) const {
        xcb_warp_pointer(connection(), XCB_NONE, root(), 0, 0, 0, 0, static_cast<std::int16_t>(x),
                         static_cast<std::int16_t>(y));
        xcb_flush(connection());
    }
    /// Presses and releases a button of the mouse, or a key of the keyboard.
    void click(std::uint8_t button) const {
        fakeInput(XCB_BUTTON_PRESS, button);
        fakeInput(XCB_BUTTON_RELEASE, button);
    }
    void tap(std::uint8_t keycode) const {
        fakeInput(XCB_KEY_PRESS, keycode);
        fakeInput(XCB_KEY_RELEASE, keycode);
    }
    void fakeInput(std::uint8_t type, std::uint8_t detail, int x = 0, int y = 0) const;
    /// Gives a window (the root too) a cursor: a solid rectangle with this hot spot.
    void setCursor(xcb_window_t window, int width, int height, int hotX, int hotY) const;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    void configure(xcb_window_t window, std::uint16_t what, std::int32_t first,
                   std::int32_t second) const;
    xcb_gcontext_t brush(xcb_drawable_t target, std::uint32_t colour) const;

    std::unique_ptr<xcb_connection_t, Disconnect> open;
    xcb_screen_t* screen;
};

} // namespace test
