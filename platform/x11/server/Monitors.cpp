#include "platform/x11/server/Monitors.h"

#include <xcb/randr.h>

namespace platform::x11 {
namespace {

Owned<xcb_randr_get_monitors_reply_t> randrMonitors(const Connection& connection) {
    if (!connection.has(&xcb_randr_id))
        return nullptr;
    constexpr std::uint8_t onlyActive = 1;
    return reply(connection, xcb_randr_get_monitors_reply,
                 xcb_randr_get_monitors(connection, connection.root(), onlyActive));
}

std::vector<Monitor> wholeRoot(const Connection& connection) {
    const auto root =
        reply(connection, xcb_get_geometry_reply, xcb_get_geometry(connection, connection.root()));
    if (!root)
        return {};
    return {{connection.atom("screen"), 0, 0, root->width, root->height, true}};
}

} // namespace

std::vector<Monitor> monitors(const Connection& connection) {
    const auto answer = randrMonitors(connection);
    if (!answer)
        return wholeRoot(connection);
    std::vector<Monitor> found;
    for (auto at = xcb_randr_get_monitors_monitors_iterator(answer.get()); at.rem > 0;
         xcb_randr_monitor_info_next(&at))
        found.push_back({at.data->name, at.data->x, at.data->y, at.data->width, at.data->height,
                         at.data->primary != 0});
    // A computer without any monitor has a desktop all the same.
    return found.empty() ? wholeRoot(connection) : found;
}

} // namespace platform::x11
