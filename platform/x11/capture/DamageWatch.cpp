#include "platform/x11/capture/DamageWatch.h"

namespace platform::x11 {

std::unique_ptr<DamageWatch> DamageWatch::create(const Connection& connection,
                                                 EventHandlers& handlers) {
    if (!connection.has(&xcb_damage_id) || !connection.has(&xcb_xfixes_id))
        return nullptr;
    return std::unique_ptr<DamageWatch>(new DamageWatch(connection, handlers));
}

DamageWatch::DamageWatch(const Connection& connection, EventHandlers& handlers)
    : connection(connection),
      damage(xcb_generate_id(connection)),
      parts(xcb_generate_id(connection)) {
    reply(connection, xcb_xfixes_query_version_reply, xcb_xfixes_query_version(connection, 5, 0));
    reply(connection, xcb_damage_query_version_reply, xcb_damage_query_version(connection, 1, 1));
    xcb_damage_create(connection, damage, connection.root(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    xcb_xfixes_create_region(connection, parts, 0, nullptr);
    handlers.on(event::damageNotify,
                [this](const auto& notify) { damaged = damaged || notify.damage == damage; });
}

void DamageWatch::ask() {
    damaged = false;
    xcb_damage_subtract(connection, damage, XCB_NONE, parts);
    asked = xcb_xfixes_fetch_region(connection, parts);
}

void DamageWatch::answer(std::vector<Area>& areas) {
    areas.clear();
    const auto region = reply(connection, xcb_xfixes_fetch_region_reply, asked);
    if (!region)
        return;
    const auto* const rectangles = xcb_xfixes_fetch_region_rectangles(region.get());
    const int count = xcb_xfixes_fetch_region_rectangles_length(region.get());
    for (int index = 0; index < count; ++index) {
        const auto& each = rectangles[index];
        areas.push_back({each.x, each.y, each.width, each.height});
    }
}

} // namespace platform::x11
