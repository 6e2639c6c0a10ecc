#include "platform/x11/server/Monitors.h"

#include "platform/Text.h"
#include "platform/decisions/DisplayIdentity.h"

#include <algorithm>

namespace platform::x11 {
namespace {

std::vector<Monitor> randrMonitors(const Connection& connection) {
    if (!connection.has(&xcb_randr_id))
        return {};
    constexpr std::uint8_t onlyActive = 1;
    const auto answer = reply(connection, xcb_randr_get_monitors_reply,
                              xcb_randr_get_monitors(connection, connection.root(), onlyActive));
    if (!answer)
        return {};
    std::vector<Monitor> found;
    for (auto at = xcb_randr_get_monitors_monitors_iterator(answer.get()); at.rem > 0;
         xcb_randr_monitor_info_next(&at)) {
        const auto& info = *at.data;
        const bool byHand = info.automatic == 0 || info.nOutput == 0;
        found.push_back({0, connection.nameOf(info.name), info.x, info.y, info.width, info.height,
                         info.primary != 0, byHand ? 0 : *xcb_randr_monitor_info_outputs(at.data)});
    }
    return found;
}

std::vector<Monitor> wholeRoot(const Connection& connection) {
    const auto root =
        reply(connection, xcb_get_geometry_reply, xcb_get_geometry(connection, connection.root()));
    if (!root)
        return {};
    return {{0, "screen", 0, 0, root->width, root->height, true}};
}

/// Returns an empty text if the monitor does not say.
std::string ownName(const Connection& connection, const Monitor& monitor) {
    if (monitor.connector == XCB_NONE)
        return {};
    constexpr std::uint32_t words = 32; // The first block of 128 bytes has the name.
    const auto answer =
        reply(connection, xcb_randr_get_output_property_reply,
              xcb_randr_get_output_property(connection, monitor.connector, connection.atom("EDID"),
                                            XCB_ATOM_NONE, 0, words, 0, 0));
    if (!answer || answer->format != 8)
        return {};
    return productName(
        {xcb_randr_get_output_property_data(answer.get()),
         static_cast<std::size_t>(xcb_randr_get_output_property_data_length(answer.get()))});
}

} // namespace

std::vector<Monitor> monitors(const Connection& connection) {
    auto found = randrMonitors(connection);
    // A computer without any monitor has a desktop all the same.
    if (found.empty())
        found = wholeRoot(connection);
    std::vector<std::string> names;
    for (const auto& monitor : found)
        names.push_back(monitor.name);
    const auto ids = displayIDs(names);
    for (auto& monitor : found)
        monitor.id = ids.at(monitor.name);
    return found;
}

std::vector<std::string> displayNames(const Connection& connection,
                                      const std::vector<Monitor>& monitors) {
    std::vector<std::string> names;
    for (const auto& monitor : monitors)
        names.push_back(ownName(connection, monitor));
    auto displayed = names;
    for (std::size_t index = 0; index < names.size(); ++index) {
        const auto connector = repairedUTF8(monitors[index].name);
        if (names[index].empty())
            displayed[index] = connector;
        else if (std::ranges::count(names, names[index]) > 1)
            displayed[index] += " (" + connector + ")";
    }
    return displayed;
}

void watchMonitors(const Connection& connection, EventHandlers& handlers,
                   const std::function<void()>& changed, std::uint32_t rootEvents) {
    // A monitor that is set up by hand is told of by the root window's own events.
    const std::uint32_t selected = rootEvents | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, connection.root(), XCB_CW_EVENT_MASK, &selected);
    handlers.on(event::configureNotify, [changed, root = connection.root()](const auto& configure) {
        if (configure.window == root)
            changed();
    });
    if (!connection.has(&xcb_randr_id))
        return;
    // The server tells only who has asked for its version.
    xcb_discard_reply(connection, xcb_randr_query_version(connection, 1, 5).sequence);
    xcb_randr_select_input(connection, connection.root(),
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    handlers.on(event::randrScreenChange, [changed](const auto&) { changed(); });
    handlers.on(event::randrNotify, [changed](const auto&) { changed(); });
}

} // namespace platform::x11
