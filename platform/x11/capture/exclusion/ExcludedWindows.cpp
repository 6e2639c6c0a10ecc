#include "platform/x11/capture/exclusion/ExcludedWindows.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace platform::x11 {
namespace {

/// Window managers put a client into a frame, some of them into two.
constexpr int maxClientDepth = 3;
/// More than a desktop's frames hold; an application may have any number of windows.
constexpr std::size_t maxWindowsOfOneLevel = 8192;

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
    const std::vector<xcb_window_t> present{first,
                                            first + xcb_query_tree_children_length(tree.get())};
    for (const auto window : present)
        areaOf(window);
    adopt(present);
}

bool ExcludedWindows::handle(const xcb_create_notify_event_t& event) {
    if (event.parent == connection.root())
        children[event.window] = outerArea(event);
    return false;
}

/// A window that is gone again, as events to come will tell, can't be asked whose it was.
bool ExcludedWindows::handle(const xcb_map_notify_event_t& event) {
    const auto window = event.window;
    const bool isOurs = !belonging({window}).empty();
    // Asked last: it may have gone while its names were asked for.
    const bool isGone = !reply(connection, xcb_get_window_attributes_reply,
                               xcb_get_window_attributes(connection, window));
    if (isOurs || isGone)
        place(window, areaOf(window));
    return has(window);
}

bool ExcludedWindows::handle(const xcb_unmap_notify_event_t& event) {
    return leave(event.window);
}

bool ExcludedWindows::handle(const xcb_destroy_notify_event_t& event) {
    children.erase(event.window);
    return leave(event.window);
}

bool ExcludedWindows::handle(const xcb_configure_notify_event_t& event) {
    if (const auto found = children.find(event.window); found != children.end())
        found->second = outerArea(event);
    if (!has(event.window))
        return false;
    place(event.window, outerArea(event));
    return true;
}

bool ExcludedWindows::handle(const xcb_reparent_notify_event_t& event) {
    children.erase(event.window);
    if (event.parent == connection.root())
        return false; // If it is mapped, the server says so next.
    const bool left = leave(event.window);
    return adoptAround(event.parent) || left;
}

/// Asks the server only about a child of which no event has told yet.
Area ExcludedWindows::areaOf(xcb_window_t window) {
    const auto [child, isNew] = children.try_emplace(window);
    if (isNew)
        if (const auto geometry =
                reply(connection, xcb_get_geometry_reply, xcb_get_geometry(connection, window)))
            child->second = outerArea(*geometry);
    return child->second;
}

/// A window that got a new child may have become one of the applications' by that.
bool ExcludedWindows::adoptAround(xcb_window_t window) {
    while (true) {
        const auto tree =
            reply(connection, xcb_query_tree_reply, xcb_query_tree(connection, window));
        if (!tree || tree->parent == XCB_NONE)
            return false;
        if (tree->parent == connection.root())
            break;
        window = tree->parent;
    }
    adopt({window});
    return has(window);
}

void ExcludedWindows::adopt(const std::vector<xcb_window_t>& candidates) {
    for (const auto window : belonging(candidates)) {
        const auto state = reply(connection, xcb_get_window_attributes_reply,
                                 xcb_get_window_attributes(connection, window));
        if (state && state->map_state == XCB_MAP_STATE_VIEWABLE)
            place(window, areaOf(window));
    }
}

std::vector<xcb_window_t>
ExcludedWindows::belonging(const std::vector<xcb_window_t>& candidates) const {
    std::set<xcb_window_t> found;
    std::vector<Descendant> level;
    for (const auto child : candidates)
        level.push_back({child, child});
    for (int depth = 0; depth <= maxClientDepth && !level.empty(); ++depth)
        level = searchLevel(level, found);
    return {found.begin(), found.end()};
}

/// All questions go out before the first answer is waited for.
std::vector<ExcludedWindows::Descendant>
ExcludedWindows::searchLevel(const std::vector<Descendant>& level,
                             std::set<xcb_window_t>& found) const {
    struct Question {
        std::vector<xcb_get_property_cookie_t> names;
        xcb_query_tree_cookie_t tree{};
    };
    std::vector<Question> questions(level.size());
    for (std::size_t index = 0; index < level.size(); ++index) {
        constexpr std::uint32_t maxNameLength = 256; // in words
        const auto window = level[index].window;
        for (const auto name : namingProperties)
            questions[index].names.push_back(xcb_get_property(
                connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, maxNameLength));
        questions[index].tree = xcb_query_tree(connection, window);
    }
    std::vector<Descendant> within;
    for (std::size_t index = 0; index < level.size(); ++index) {
        const auto child = level[index].child;
        for (const auto name : questions[index].names)
            if (namesApplication(reply(connection, xcb_get_property_reply, name).get()))
                found.insert(child);
        const auto tree = reply(connection, xcb_query_tree_reply, questions[index].tree);
        const int count = tree ? xcb_query_tree_children_length(tree.get()) : 0;
        for (int number = 0; number < count && within.size() < maxWindowsOfOneLevel; ++number)
            within.push_back({xcb_query_tree_children(tree.get())[number], child});
    }
    return within;
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
    return windows.contains(window);
}

void ExcludedWindows::place(xcb_window_t window, const Area& area) {
    auto& present = windows[window];
    if (present == area)
        return;
    if (!present.empty())
        leftAreas.push_back(present);
    present = area;
}

bool ExcludedWindows::leave(xcb_window_t window) {
    if (!has(window))
        return false;
    place(window, {});
    windows.erase(window);
    return true;
}

std::vector<Area> ExcludedWindows::areas() const {
    std::vector<Area> all;
    for (const auto& [window, area] : windows)
        all.push_back(area);
    return all;
}

std::vector<Area> ExcludedWindows::takeLeftAreas() {
    return std::exchange(leftAreas, {});
}

} // namespace platform::x11
