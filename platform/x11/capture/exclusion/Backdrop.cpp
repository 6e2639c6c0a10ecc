#include "platform/x11/capture/exclusion/Backdrop.h"

#include <xcb/composite.h>

#include <set>
#include <string>

namespace platform::x11 {
namespace {

int screenNumber(const Connection& connection) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    int number = 0;
    for (; screens.rem > 1 && screens.data->root != connection.root(); xcb_screen_next(&screens))
        ++number;
    return number;
}

} // namespace

std::unique_ptr<Backdrop> Backdrop::create(const Connection& connection) {
    for (auto* const extension :
         {&xcb_composite_id, &xcb_render_id, &xcb_damage_id, &xcb_xfixes_id})
        if (!connection.has(extension))
            return nullptr;
    return std::unique_ptr<Backdrop>(new Backdrop(connection));
}

Backdrop::Backdrop(const Connection& connection)
    : connection(connection),
      wallpaperProperty(connection.atom("_XROOTPMAP_ID")),
      painted(connection) {
    reply(connection, xcb_composite_query_version_reply,
          xcb_composite_query_version(connection, 0, 4));
    reply(connection, xcb_render_query_version_reply, xcb_render_query_version(connection, 0, 11));
    readFormats();
    readCompositor();
    look(hostTime());
    for (const auto& window : windows)
        painted.addVisible(window.id, window.outer);
    xcb_composite_redirect_subwindows(connection, connection.root(),
                                      XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

Backdrop::~Backdrop() {
    xcb_composite_unredirect_subwindows(connection, connection.root(),
                                        XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    if (overlay != XCB_NONE)
        xcb_composite_release_overlay_window(connection, connection.root());
}

void Backdrop::readFormats() {
    const auto answer = reply(connection, xcb_render_query_pict_formats_reply,
                              xcb_render_query_pict_formats(connection));
    if (!answer)
        return;
    std::set<xcb_render_pictformat_t> withAlpha;
    for (auto format = xcb_render_query_pict_formats_formats_iterator(answer.get()); format.rem > 0;
         xcb_render_pictforminfo_next(&format))
        if (format.data->direct.alpha_mask != 0)
            withAlpha.insert(format.data->id);
    for (auto screen = xcb_render_query_pict_formats_screens_iterator(answer.get()); screen.rem > 0;
         xcb_render_pictscreen_next(&screen))
        for (auto depth = xcb_render_pictscreen_depths_iterator(screen.data); depth.rem > 0;
             xcb_render_pictdepth_next(&depth))
            for (auto visual = xcb_render_pictdepth_visuals_iterator(depth.data); visual.rem > 0;
                 xcb_render_pictvisual_next(&visual))
                formats[visual.data->visual] = {visual.data->format,
                                                withAlpha.contains(visual.data->format)};
}

void Backdrop::readCompositor() {
    const auto selection =
        connection.atom("_NET_WM_CM_S" + std::to_string(screenNumber(connection)));
    const auto owner = reply(connection, xcb_get_selection_owner_reply,
                             xcb_get_selection_owner(connection, selection));
    composited = owner && owner->owner != XCB_NONE;
    // Asking for the overlay window makes it, so only where somebody has it anyway.
    if (!composited)
        return;
    const auto answer = reply(connection, xcb_composite_get_overlay_window_reply,
                              xcb_composite_get_overlay_window(connection, connection.root()));
    overlay = answer ? answer->overlay_win : xcb_window_t{XCB_NONE};
}

void Backdrop::look(MediaTime now) {
    painted.grow(now);
    windows.clear();
    const auto tree =
        reply(connection, xcb_query_tree_reply, xcb_query_tree(connection, connection.root()));
    if (!tree)
        return;
    struct Asked {
        xcb_window_t window;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
    };
    std::vector<Asked> asked;
    const auto* const first = xcb_query_tree_children(tree.get());
    for (int index = 0; index < xcb_query_tree_children_length(tree.get()); ++index)
        asked.push_back({first[index], xcb_get_window_attributes(connection, first[index]),
                         xcb_get_geometry(connection, first[index])});
    for (const auto& each : asked) {
        const auto attributes = reply(connection, xcb_get_window_attributes_reply, each.attributes);
        const auto geometry = reply(connection, xcb_get_geometry_reply, each.geometry);
        if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
            attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT || each.window == overlay)
            continue;
        const int border = geometry->border_width;
        const auto format = formats.find(attributes->visual);
        if (format == formats.end())
            continue;
        windows.push_back({each.window,
                           {geometry->x, geometry->y, geometry->width + 2 * border,
                            geometry->height + 2 * border},
                           border,
                           format->second.format,
                           format->second.hasAlpha && composited});
    }
}

bool Backdrop::handle(const xcb_generic_event_t& event) {
    const bool grown = painted.handle(event);
    switch (event.response_type & 0x7F) {
    case XCB_MAP_NOTIFY:
    case XCB_UNMAP_NOTIFY:
    case XCB_DESTROY_NOTIFY:
    case XCB_CONFIGURE_NOTIFY:
    case XCB_REPARENT_NOTIFY:
    case XCB_CIRCULATE_NOTIFY:
        return true;
    default:
        return grown;
    }
}

void Backdrop::draw(const Area& area, xcb_pixmap_t onto, const ExcludedWindows& without) {
    const auto format = formats.find(connection.screen().root_visual);
    if (format == formats.end())
        return;
    const auto target = xcb_generate_id(connection);
    xcb_render_create_picture(connection, target, onto, format->second.format, 0, nullptr);
    drawWallpaper(area, target);
    for (const auto& window : windows)
        if (!without.has(window.id))
            drawWindow(window, area, target);
    xcb_render_free_picture(connection, target);
}

void Backdrop::drawWallpaper(const Area& area, xcb_render_picture_t target) const {
    const auto property = reply(connection, xcb_get_property_reply,
                                xcb_get_property(connection, 0, connection.root(),
                                                 wallpaperProperty, XCB_ATOM_PIXMAP, 0, 1));
    if (!property || xcb_get_property_value_length(property.get()) != sizeof(xcb_pixmap_t))
        return;
    const auto pixmap = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(property.get()));
    const auto wallpaper = xcb_generate_id(connection);
    const std::uint32_t tiled = XCB_RENDER_REPEAT_NORMAL;
    // If the pixmap is gone, or of another depth, this and what follows comes to nothing.
    xcb_render_create_picture(connection, wallpaper, pixmap,
                              formats.at(connection.screen().root_visual).format,
                              XCB_RENDER_CP_REPEAT, &tiled);
    xcb_render_composite(connection, XCB_RENDER_PICT_OP_SRC, wallpaper, XCB_NONE, target,
                         static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y), 0, 0,
                         0, 0, static_cast<std::uint16_t>(area.width),
                         static_cast<std::uint16_t>(area.height));
    xcb_render_free_picture(connection, wallpaper);
}

void Backdrop::drawWindow(const Window& window, const Area& area, xcb_render_picture_t target) {
    const Area shared = intersection(window.outer, area);
    if (shared.empty())
        return;
    // Where its contents count, and where it is, if it is no rectangle.
    xcb_xfixes_region_t visible = xcb_generate_id(connection);
    xcb_xfixes_create_region_from_window(connection, visible, window.id, XCB_SHAPE_SK_BOUNDING);
    xcb_xfixes_intersect_region(connection, visible, painted.of(window.id, window.outer), visible);
    xcb_xfixes_set_picture_clip_region(
        connection, target, visible,
        static_cast<std::int16_t>(window.outer.x + window.border - area.x),
        static_cast<std::int16_t>(window.outer.y + window.border - area.y));
    xcb_xfixes_destroy_region(connection, visible);

    const auto pixmap = xcb_generate_id(connection);
    const auto picture = xcb_generate_id(connection);
    xcb_composite_name_window_pixmap(connection, window.id, pixmap);
    xcb_render_create_picture(connection, picture, pixmap, window.format, 0, nullptr);
    xcb_render_composite(
        connection, window.translucent ? XCB_RENDER_PICT_OP_OVER : XCB_RENDER_PICT_OP_SRC, picture,
        XCB_NONE, target, static_cast<std::int16_t>(shared.x - window.outer.x),
        static_cast<std::int16_t>(shared.y - window.outer.y), 0, 0,
        static_cast<std::int16_t>(shared.x - area.x), static_cast<std::int16_t>(shared.y - area.y),
        static_cast<std::uint16_t>(shared.width), static_cast<std::uint16_t>(shared.height));
    xcb_render_free_picture(connection, picture);
    xcb_free_pixmap(connection, pixmap);
}

} // namespace platform::x11
