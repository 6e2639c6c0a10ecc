#include "support/XClient.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace test {
namespace {

std::int16_t coordinate(int value) {
    return static_cast<std::int16_t>(value);
}
template<class T>
std::uint16_t length(T value) {
    return static_cast<std::uint16_t>(value);
}

} // namespace

XClient::XClient(const std::string& display) : open(xcb_connect(display.c_str(), nullptr)) {
    if (xcb_connection_has_error(open.get()) != 0)
        throw std::runtime_error("no X server at " + display);
    screen = xcb_setup_roots_iterator(xcb_get_setup(connection())).data;
}

void XClient::sync() const {
    owned(xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
}

xcb_atom_t XClient::atom(const std::string& name) const {
    const auto answer = owned(xcb_intern_atom_reply(
        connection(), xcb_intern_atom(connection(), 0, length(name.size()), name.c_str()),
        nullptr));
    return answer ? answer->atom : xcb_atom_t{XCB_NONE};
}

void XClient::sayGoodbye(xcb_window_t window) const {
    xcb_client_message_event_t goodbye{};
    goodbye.response_type = XCB_CLIENT_MESSAGE;
    goodbye.format = 32;
    goodbye.window = window;
    goodbye.type = XCB_ATOM_NOTICE;
    xcb_send_event(connection(), 0, window, 0, reinterpret_cast<const char*>(&goodbye));
    xcb_flush(connection());
}

xcb_window_t XClient::createWindow(Box place, const WindowLook& look) const {
    const auto window = xcb_generate_id(connection());
    xcb_create_window_value_list_t values{};
    values.background_pixel = look.colour;
    values.background_pixmap = XCB_BACK_PIXMAP_NONE;
    values.override_redirect = look.overrideRedirect ? 1 : 0;
    xcb_create_window_aux(connection(), screen->root_depth, window,
                          look.parent == XCB_NONE ? root() : look.parent, coordinate(place.x),
                          coordinate(place.y), length(place.width), length(place.height), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          (look.withoutBackground ? XCB_CW_BACK_PIXMAP : XCB_CW_BACK_PIXEL) |
                              XCB_CW_OVERRIDE_REDIRECT,
                          &values);
    if (!look.instance.empty() || !look.applicationClass.empty()) {
        const auto words = look.instance + '\0' + look.applicationClass + '\0';
        xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS,
                            XCB_ATOM_STRING, 8, static_cast<std::uint32_t>(words.size()),
                            words.data());
    }
    return window;
}

void XClient::configure(xcb_window_t window, std::uint16_t what, std::int32_t first,
                        std::int32_t second) const {
    const std::array<std::int32_t, 2> values{first, second};
    xcb_configure_window(connection(), window, what, values.data());
}

void XClient::reparent(xcb_window_t window, xcb_window_t parent, int x, int y) const {
    xcb_reparent_window(connection(), window, parent, coordinate(x), coordinate(y));
}

xcb_gcontext_t XClient::brush(xcb_drawable_t target, std::uint32_t colour) const {
    const auto context = xcb_generate_id(connection());
    const std::array<std::uint32_t, 2> values{colour, 0};
    xcb_create_gc(connection(), context, target, XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES,
                  values.data());
    return context;
}

bool XClient::focusTopmost() const {
    const auto tree =
        owned(xcb_query_tree_reply(connection(), xcb_query_tree(connection(), root()), nullptr));
    const auto* children = xcb_query_tree_children(tree.get());
    for (int index = xcb_query_tree_children_length(tree.get()) - 1; index >= 0; --index) {
        const auto attributes = owned(xcb_get_window_attributes_reply(
            connection(), xcb_get_window_attributes(connection(), children[index]), nullptr));
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE)
            continue;
        xcb_set_input_focus(connection(), XCB_INPUT_FOCUS_PARENT, children[index],
                            XCB_CURRENT_TIME);
        sync();
        return true;
    }
    return false;
}

void XClient::fill(xcb_drawable_t target, Box box, std::uint32_t colour) const {
    const auto context = brush(target, colour);
    const xcb_rectangle_t area{coordinate(box.x), coordinate(box.y), length(box.width),
                               length(box.height)};
    xcb_poly_fill_rectangle(connection(), target, context, 1, &area);
    xcb_free_gc(connection(), context);
}

void XClient::putImage(xcb_drawable_t target, Box box,
                       const std::vector<std::uint32_t>& pixels) const {
    const auto context = brush(target, 0);
    // A request has room for so many rows; the rest of it is its header.
    const auto rowBytes = static_cast<std::uint32_t>(box.width) * 4;
    const auto room = xcb_get_maximum_request_length(connection()) * 4 - 64;
    const int rows = std::max(static_cast<int>(room / rowBytes), 1);
    for (int y = 0; y < box.height; y += rows) {
        const int count = std::min(rows, box.height - y);
        const auto* const first = pixels.data() + static_cast<std::ptrdiff_t>(y) * box.width;
        xcb_put_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, target, context, length(box.width),
                      length(count), coordinate(box.x), coordinate(box.y + y), 0,
                      screen->root_depth, rowBytes * static_cast<std::uint32_t>(count),
                      reinterpret_cast<const std::uint8_t*>(first));
    }
    xcb_free_gc(connection(), context);
}

void XClient::fakeInput(std::uint8_t type, std::uint8_t detail, int x, int y) const {
    xcb_test_fake_input(connection(), type, detail, XCB_CURRENT_TIME, root(), coordinate(x),
                        coordinate(y), 0);
}

void XClient::setCursor(xcb_window_t window, int width, int height, int hotX, int hotY) const {
    const auto shape = xcb_generate_id(connection());
    xcb_create_pixmap(connection(), 1, shape, root(), length(width), length(height));
    fill(shape, {0, 0, width, height}, 1);
    const auto cursor = xcb_generate_id(connection());
    xcb_create_cursor(connection(), cursor, shape, shape, 0xFFFF, 0, 0, 0, 0, 0, length(hotX),
                      length(hotY));
    xcb_change_window_attributes(connection(), window, XCB_CW_CURSOR, &cursor);
    xcb_free_cursor(connection(), cursor);
    xcb_free_pixmap(connection(), shape);
}

} // namespace test
