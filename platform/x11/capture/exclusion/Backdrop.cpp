#include "platform/x11/capture/exclusion/Backdrop.h"

#include <xcb/composite.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>

namespace platform::x11 {
namespace {

/// A drawing cuts up what is unpainted; a window in more pieces than this waits for a larger one.
constexpr std::size_t maxPieces = 64;

int screenNumber(const Connection& connection) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    int number = 0;
    for (; screens.rem > 1 && screens.data->root != connection.root(); xcb_screen_next(&screens))
        ++number;
    return number;
}

xcb_window_t selectionOwner(const Connection& connection, xcb_atom_t selection) {
    const auto answer = reply(connection, xcb_get_selection_owner_reply,
                              xcb_get_selection_owner(connection, selection));
    return answer ? answer->owner : xcb_window_t{XCB_NONE};
}

} // namespace

std::unique_ptr<Backdrop> Backdrop::create(const Connection& connection,
                                           const std::vector<Area>& excluded) {
    for (auto* const extension :
         {&xcb_composite_id, &xcb_render_id, &xcb_damage_id, &xcb_xfixes_id})
        if (!connection.has(extension))
            return nullptr;
    const auto selection =
        connection.atom("_NET_WM_CM_S" + std::to_string(screenNumber(connection)));
    if (selectionOwner(connection, selection) == XCB_NONE)
        return nullptr;
    reply(connection, xcb_composite_query_version_reply,
          xcb_composite_query_version(connection, 0, 4));
    reply(connection, xcb_render_query_version_reply, xcb_render_query_version(connection, 0, 11));
    // Asking for the overlay window makes it where there is none; it belongs to the manager.
    const auto overlay = reply(connection, xcb_composite_get_overlay_window_reply,
                               xcb_composite_get_overlay_window(connection, connection.root()));
    xcb_composite_release_overlay_window(connection, connection.root());
    std::unique_ptr<Backdrop> backdrop(
        new Backdrop(connection, excluded, selection, overlay ? overlay->overlay_win : XCB_NONE));
    return backdrop->listWindows() ? std::move(backdrop) : nullptr;
}

Backdrop::Backdrop(const Connection& connection, const std::vector<Area>& excluded,
                   xcb_atom_t compositorSelection, xcb_window_t overlay)
    : connection(connection),
      excluded(excluded),
      compositorSelection(compositorSelection),
      overlay(overlay),
      wallpaperProperty(connection.atom("_XROOTPMAP_ID")) {
    readFormats();
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

bool Backdrop::listWindows() {
    const auto owner = xcb_get_selection_owner(connection, compositorSelection);
    windows.clear();
    const auto tree =
        reply(connection, xcb_query_tree_reply, xcb_query_tree(connection, connection.root()));
    const auto compositor = reply(connection, xcb_get_selection_owner_reply, owner);
    if (!tree || !compositor || compositor->owner == XCB_NONE)
        return false;
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
        if (!attributes || !geometry || each.window == overlay ||
            attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT) {
            watched.erase(each.window); // Nobody paints it.
            continue;
        }
        const int border = geometry->border_width;
        const Area outer = outerArea(*geometry);
        watch(each.window, outer, border).mapped = attributes->map_state != XCB_MAP_STATE_UNMAPPED;
        const auto format = formats.find(attributes->visual);
        if (attributes->map_state == XCB_MAP_STATE_VIEWABLE && format != formats.end())
            windows.push_back(
                {each.window, outer, border, format->second.format, format->second.hasAlpha});
    }
    return true;
}

Backdrop::Watched& Backdrop::watch(xcb_window_t window, const Area& outer, int border) {
    // A member with a destructor of its own that can't be moved: made in its place, or not at all.
    if (auto* const known = find(window))
        return *known;
    return watched.try_emplace(window, connection, window, outer, border).first->second;
}

Backdrop::Watched* Backdrop::find(xcb_window_t window) {
    const auto found = watched.find(window);
    return found == watched.end() ? nullptr : &found->second;
}

std::vector<Area> Backdrop::excludedPartsOf(const Area& area) const {
    std::vector<Area> parts;
    for (const auto& each : excluded)
        if (const Area part = intersection(area, each); !part.empty())
            parts.push_back(part);
    return parts;
}

bool Backdrop::handle(const xcb_create_notify_event_t& event) {
    if (event.parent == connection.root())
        watch(event.window, outerArea(event), event.border_width);
    return false;
}

bool Backdrop::handle(const xcb_map_notify_event_t& event) {
    if (auto* const window = find(event.window)) {
        window->mapped = true;
        window->unpainted = excludedPartsOf(window->outer);
    }
    return true;
}

bool Backdrop::handle(const xcb_unmap_notify_event_t& event) {
    if (auto* const window = find(event.window)) {
        window->mapped = false;
        window->unpainted.clear();
    }
    return true;
}

bool Backdrop::handle(const xcb_destroy_notify_event_t& event) {
    watched.erase(event.window);
    return true;
}

bool Backdrop::handle(const xcb_configure_notify_event_t& event) {
    auto* const window = find(event.window);
    if (!window)
        return true;
    const Area before = std::exchange(window->outer, outerArea(event));
    window->border = event.border_width;
    const bool sameSize =
        before.width == window->outer.width && before.height == window->outer.height;
    if (!sameSize && window->mapped)
        window->unpainted = excludedPartsOf(window->outer);
    else
        for (auto& each : window->unpainted)
            each = each.movedBy(window->outer.x - before.x, window->outer.y - before.y);
    return true;
}

bool Backdrop::handle(const xcb_reparent_notify_event_t&) {
    return true;
}

bool Backdrop::handle(const xcb_damage_notify_event_t& event, std::uint32_t sequence) {
    auto* const window = find(event.drawable);
    const auto inside = window ? window->watch.drawn(event, sequence) : std::nullopt;
    if (!inside)
        return false;
    const Area drawn =
        inside->movedBy(window->outer.x + window->border, window->outer.y + window->border);
    if (window->unpainted.size() < maxPieces)
        subtract(window->unpainted, drawn);
    return touch(excluded, drawn);
}

std::vector<Area> Backdrop::unpaintedAreas() const {
    std::vector<Area> all;
    for (const auto& [window, state] : watched)
        all.insert(all.end(), state.unpainted.begin(), state.unpainted.end());
    return all;
}

void Backdrop::draw(const Area& area, xcb_pixmap_t onto, const ExcludedWindows& without) const {
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

void Backdrop::drawWindow(const Window& window, const Area& area,
                          xcb_render_picture_t target) const {
    const Area shared = intersection(window.outer, area);
    if (shared.empty())
        return;
    // A window need not be a rectangle.
    xcb_xfixes_region_t visible = xcb_generate_id(connection);
    xcb_xfixes_create_region_from_window(connection, visible, window.id, XCB_SHAPE_SK_BOUNDING);
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
