#include "platform/x11/capture/exclusion/PaintedRegions.h"

#include <chrono>

namespace platform::x11 {
namespace {

using namespace std::chrono_literals;

/// How long a program may take to paint a new window.
constexpr auto paintingTime = 1s;

/// Whether an event came about when the server had carried out a request; numbers wrap around.
bool notBefore(std::uint32_t event, std::uint32_t request) {
    return static_cast<std::int32_t>(event - request) >= 0;
}

} // namespace

PaintedRegions::PaintedRegions(const Connection& connection)
    : connection(connection),
      parts(xcb_generate_id(connection)) {
    xcb_xfixes_create_region(connection, parts, 0, nullptr);
}

PaintedRegions::~PaintedRegions() {
    for (const auto& [window, contents] : windows)
        drop(contents);
    xcb_xfixes_destroy_region(connection, parts);
}

void PaintedRegions::drop(const Contents& contents) const {
    xcb_damage_destroy(connection, contents.damage);
    xcb_xfixes_destroy_region(connection, contents.painted);
}

PaintedRegions::Contents& PaintedRegions::watch(xcb_window_t window) {
    auto& contents = windows[window];
    contents.damage = xcb_generate_id(connection);
    contents.painted = xcb_generate_id(connection);
    xcb_xfixes_create_region(connection, contents.painted, 0, nullptr);
    xcb_damage_create(connection, contents.damage, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    return contents;
}

void PaintedRegions::addVisible(xcb_window_t window, const picture::Area& outer) {
    // The first report of a damage object is all that can be seen of its window.
    auto& contents = watch(window);
    contents.width = outer.width;
    contents.height = outer.height;
}

/// Nothing of the window counts any more, nor what the server has reported of it so far.
void PaintedRegions::startOver(xcb_window_t window) {
    const auto found = windows.find(window);
    auto& contents = found != windows.end() ? found->second : watch(window);
    contents.dropped =
        xcb_damage_subtract(connection, contents.damage, XCB_NONE, XCB_NONE).sequence;
    xcb_xfixes_set_region(connection, contents.painted, 0, nullptr);
    contents.complete = hostTime() + paintingTime;
    contents.paintedSince = false;
}

void PaintedRegions::forget(xcb_window_t window) {
    const auto found = windows.find(window);
    if (found == windows.end())
        return;
    drop(found->second);
    windows.erase(found);
}

bool PaintedRegions::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7F;
    if (type == connection.firstEvent(&xcb_damage_id) + XCB_DAMAGE_NOTIFY) {
        const auto found =
            windows.find(reinterpret_cast<const xcb_damage_notify_event_t&>(event).drawable);
        if (found == windows.end())
            return false;
        auto& contents = found->second;
        if (notBefore(event.full_sequence, contents.dropped))
            contents.paintedSince = true;
        return true;
    }
    if (type == XCB_MAP_NOTIFY) {
        startOver(reinterpret_cast<const xcb_map_notify_event_t&>(event).window);
    } else if (type == XCB_UNMAP_NOTIFY) {
        forget(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window);
    } else if (type == XCB_CONFIGURE_NOTIFY) {
        const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        const auto found = windows.find(configure.window);
        if (found == windows.end())
            return false;
        const int width = configure.width + 2 * configure.border_width;
        const int height = configure.height + 2 * configure.border_width;
        if (width != found->second.width || height != found->second.height)
            startOver(configure.window);
        found->second.width = width;
        found->second.height = height;
    }
    return false;
}

std::optional<MediaTime> PaintedRegions::nextChange() const {
    std::optional<MediaTime> next;
    for (const auto& [window, contents] : windows)
        if (contents.complete && contents.paintedSince && (!next || *contents.complete < *next))
            next = contents.complete;
    return next;
}

void PaintedRegions::grow(MediaTime now) {
    constexpr xcb_rectangle_t everything{-16384, -16384, 32767, 32767};
    for (auto& [window, contents] : windows)
        if (contents.complete && contents.paintedSince && *contents.complete <= now) {
            contents.complete.reset();
            xcb_xfixes_set_region(connection, contents.painted, 1, &everything);
        }
}

xcb_xfixes_region_t PaintedRegions::of(xcb_window_t window, const picture::Area& outer) {
    if (!windows.contains(window))
        startOver(window);
    auto& contents = windows.at(window);
    contents.width = outer.width;
    contents.height = outer.height;
    xcb_damage_subtract(connection, contents.damage, XCB_NONE, parts);
    xcb_xfixes_union_region(connection, contents.painted, parts, contents.painted);
    return contents.painted;
}

} // namespace platform::x11
