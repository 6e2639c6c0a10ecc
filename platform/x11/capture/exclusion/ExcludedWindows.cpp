#include "platform/x11/capture/exclusion/ExcludedWindows.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <string_view>
#include <utility>

namespace platform::x11 {
namespace {

using namespace std::chrono_literals;

/// As long as a compositing manager may take to fade a window out.
constexpr auto trailLength = 1s;
/// Window managers put a client into a frame, some of them into two.
constexpr int deepestClient = 3;
/// More than a desktop's frames hold; an application may have any number of windows.
constexpr std::size_t mostWindowsOfOneLevel = 8192;

Area hull(const Area& a, const Area& b) {
    if (a.empty())
        return b;
    if (b.empty())
        return a;
    const int x = std::min(a.x, b.x);
    const int y = std::min(a.y, b.y);
    return {x, y, std::max(a.right(), b.right()) - x, std::max(a.bottom(), b.bottom()) - y};
}

/// The position of a window is that of its border, the size that of what the border surrounds.
template<class Geometry>
Area outerArea(const Geometry& window) {
    return {window.x, window.y, window.width + 2 * window.border_width,
            window.height + 2 * window.border_width};
}

/// A window whose ancestor `child` is a child of the root.
struct Descendant {
    xcb_window_t window;
    xcb_window_t child;
};

} // namespace

ExcludedWindows::ExcludedWindows(const Connection& connection,
                                 std::vector<std::string> applications)
    : connection(connection),
      applications(std::move(applications)),
      namingProperties{XCB_ATOM_WM_CLASS, connection.atom("_GTK_APPLICATION_ID"),
                       connection.atom("_KDE_NET_WM_DESKTOP_FILE")} {
    const auto tree =
        reply(connection, xcb_query_tree_reply, xcb_query_tree(connection, connection.root()));
    if (!tree)
        return;
    const auto* const first = xcb_query_tree_children(tree.get());
    look({first, first + xcb_query_tree_children_length(tree.get())});
}

bool ExcludedWindows::handle(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7F) {
    case XCB_MAP_NOTIFY: {
        const auto& map = reinterpret_cast<const xcb_map_notify_event_t&>(event);
        look({map.window});
        return has(map.window);
    }
    case XCB_UNMAP_NOTIFY:
        return leave(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window);
    case XCB_DESTROY_NOTIFY:
        return leave(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
    case XCB_CONFIGURE_NOTIFY: {
        const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        if (!has(configure.window))
            return false;
        place(configure.window, outerArea(configure));
        return true;
    }
    case XCB_REPARENT_NOTIFY: {
        const auto& reparent = reinterpret_cast<const xcb_reparent_notify_event_t&>(event);
        if (reparent.parent == connection.root())
            return false; // If it is mapped, the server says so next.
        const bool left = leave(reparent.window);
        return lookAtFrame(reparent.parent) || left;
    }
    default:
        return false;
    }
}

/// A window that got a new child may have become one of the applications' by that.
bool ExcludedWindows::lookAtFrame(xcb_window_t window) {
    while (true) {
        const auto tree =
            reply(connection, xcb_query_tree_reply, xcb_query_tree(connection, window));
        if (!tree || tree->parent == XCB_NONE)
            return false;
        if (tree->parent == connection.root())
            break;
        window = tree->parent;
    }
    look({window});
    return has(window);
}

void ExcludedWindows::look(const std::vector<xcb_window_t>& children) {
    for (const auto window : belonging(children)) {
        const auto askedState = xcb_get_window_attributes(connection, window);
        const auto askedPlace = xcb_get_geometry(connection, window);
        const auto state = reply(connection, xcb_get_window_attributes_reply, askedState);
        const auto geometry = reply(connection, xcb_get_geometry_reply, askedPlace);
        if (state && geometry && state->map_state == XCB_MAP_STATE_VIEWABLE)
            place(window, outerArea(*geometry));
    }
}

std::vector<xcb_window_t>
ExcludedWindows::belonging(const std::vector<xcb_window_t>& children) const {
    std::set<xcb_window_t> found;
    std::vector<Descendant> level;
    for (const auto child : children)
        level.push_back({child, child});
    for (int depth = 0; depth <= deepestClient && !level.empty(); ++depth) {
        std::vector<xcb_get_property_cookie_t> properties;
        std::vector<xcb_query_tree_cookie_t> trees;
        for (const auto& each : level) {
            constexpr std::uint32_t longestName = 256; // in words
            for (const auto name : namingProperties)
                properties.push_back(xcb_get_property(connection, 0, each.window, name,
                                                      XCB_GET_PROPERTY_TYPE_ANY, 0, longestName));
            trees.push_back(xcb_query_tree(connection, each.window));
        }
        std::vector<Descendant> next;
        auto property = properties.begin();
        for (std::size_t index = 0; index < level.size(); ++index) {
            for (std::size_t name = 0; name < namingProperties.size(); ++name)
                if (namesApplication(reply(connection, xcb_get_property_reply, *property++).get()))
                    found.insert(level[index].child);
            const auto tree = reply(connection, xcb_query_tree_reply, trees[index]);
            if (!tree)
                continue;
            const auto* const first = xcb_query_tree_children(tree.get());
            for (int number = 0; number < xcb_query_tree_children_length(tree.get()); ++number)
                if (next.size() < mostWindowsOfOneLevel)
                    next.push_back({first[number], level[index].child});
        }
        level = std::move(next);
    }
    return {found.begin(), found.end()};
}

/// WM_CLASS holds two words, each ended by a zero byte; the others one, which may do without.
bool ExcludedWindows::namesApplication(const xcb_get_property_reply_t* property) const {
    if (!property || property->format != 8)
        return false;
    std::string_view text(static_cast<const char*>(xcb_get_property_value(property)),
                          static_cast<std::size_t>(xcb_get_property_value_length(property)));
    while (!text.empty()) {
        const auto word = text.substr(0, text.find('\0'));
        if (std::ranges::find(applications, word) != applications.end())
            return true;
        text.remove_prefix(std::min(word.size() + 1, text.size()));
    }
    return false;
}

bool ExcludedWindows::has(xcb_window_t window) const {
    const auto found = windows.find(window);
    return found != windows.end() && !found->second.area.empty();
}

void ExcludedWindows::place(xcb_window_t window, const Area& area) {
    const auto now = hostTime();
    std::erase_if(windows, [&](const auto& each) {
        return each.second.area.empty() && each.second.trailEnds <= now;
    });
    auto& known = windows[window];
    if (known.area == area)
        return;
    known.trail = hull(known.trailEnds > now ? known.trail : Area{}, known.area);
    known.trailEnds = now + trailLength;
    known.area = area;
}

bool ExcludedWindows::leave(xcb_window_t window) {
    if (!has(window))
        return false;
    place(window, {});
    return true;
}

std::vector<Area> ExcludedWindows::places(MediaTime now) const {
    std::vector<Area> all;
    for (const auto& [window, place] : windows) {
        const Area covered = place.trailEnds > now ? hull(place.area, place.trail) : place.area;
        if (!covered.empty())
            all.push_back(covered);
    }
    return all;
}

std::optional<MediaTime> ExcludedWindows::nextChange(MediaTime now) const {
    std::optional<MediaTime> next;
    for (const auto& [window, place] : windows)
        if (place.trailEnds > now && (!next || place.trailEnds < *next))
            next = place.trailEnds;
    return next;
}

} // namespace platform::x11
