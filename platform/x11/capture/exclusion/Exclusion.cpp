#include "platform/x11/capture/exclusion/Exclusion.h"

#include <algorithm>
#include <utility>

namespace platform::x11 {
namespace {

/// What is seen where nothing else is known.
constexpr std::uint32_t plainColour = 0x303438;

/// A picture in the server's memory.
class Pixmap {
public:
    Pixmap(const Connection& connection, int width, int height, std::uint32_t colour)
        : connection(connection),
          id(xcb_generate_id(connection)) {
        const xcb_rectangle_t all{0, 0, static_cast<std::uint16_t>(width),
                                  static_cast<std::uint16_t>(height)};
        xcb_create_pixmap(connection, connection.screen().root_depth, id, connection.root(),
                          all.width, all.height);
        const auto brush = xcb_generate_id(connection);
        xcb_create_gc(connection, brush, id, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(connection, id, brush, 1, &all);
        xcb_free_gc(connection, brush);
    }
    ~Pixmap() { xcb_free_pixmap(connection, id); }
    Pixmap(const Pixmap&) = delete;
    Pixmap& operator=(const Pixmap&) = delete;

    const Connection& connection;
    const xcb_pixmap_t id;
};

} // namespace

ServerGrab::ServerGrab(const Connection& connection) : connection(connection) {
    xcb_grab_server(connection);
    reply(connection, xcb_get_input_focus_reply, xcb_get_input_focus(connection));
}

ServerGrab::~ServerGrab() {
    xcb_ungrab_server(connection);
    xcb_flush(connection);
}

void Exclusion::handle(const xcb_generic_event_t& event) {
    const bool moved = windows.handle(event);
    const bool changedBehind = backdrop && backdrop->handle(event);
    stale = stale || moved || changedBehind;
}

std::vector<Area> Exclusion::holesIn(const Area& monitor, MediaTime now) const {
    auto found = windows.places(now);
    for (auto& each : found)
        each = intersection(each, monitor).movedBy(-monitor.x, -monitor.y);
    std::erase_if(found, [](const Area& each) { return each.empty(); });
    return found;
}

bool Exclusion::concerns(const Area& monitor, MediaTime now) const {
    return !holes.empty() || !holesIn(monitor, now).empty();
}

bool Exclusion::stirred(const Area& monitor, MediaTime now) const {
    const auto painted = backdrop ? backdrop->nextChange() : std::nullopt;
    const auto present = holesIn(monitor, now);
    return present != holes || (stale && !holes.empty()) || (painted && *painted <= now);
}

std::optional<MediaTime> Exclusion::nextChange(MediaTime now) const {
    const auto moving = windows.nextChange(now);
    const auto painting = backdrop ? backdrop->nextChange() : std::nullopt;
    return moving && painting ? std::min(*moving, *painting) : moving ? moving : painting;
}

bool Exclusion::refresh(MonitorPicture& picture, picture::BlockMap& pending,
                        picture::BlockMap& changed, MediaTime now) {
    auto present = holesIn(picture.place(), now);
    if (present != holes) {
        for (const auto& hole : holes)
            pending.mark(hole);
        holes = std::move(present);
        stale = true;
    }
    if (holes.empty())
        backdrop.reset();
    else if (!backdrop)
        backdrop = Backdrop::create(connection);
    const auto painted = backdrop ? backdrop->nextChange() : std::nullopt;
    stale = stale || (painted && *painted <= now);

    pending.cover(areas, MonitorPicture::mostAreas);
    for (const auto& hole : holes)
        subtract(areas, hole);
    if (!picture.refresh(areas, changed))
        return false;
    pending.clear();
    if (!std::exchange(stale, false))
        return true;
    if (backdrop)
        backdrop->look(now);
    return std::ranges::all_of(holes,
                               [&](const Area& hole) { return fillHole(picture, hole, changed); });
}

bool Exclusion::fillHole(MonitorPicture& picture, const Area& hole, picture::BlockMap& changed) {
    const Pixmap canvas(connection, hole.width, hole.height, plainColour);
    if (backdrop)
        backdrop->draw(hole.movedBy(picture.place().x, picture.place().y), canvas.id, windows);
    return picture.refreshFrom(canvas.id, hole, changed);
}

} // namespace platform::x11
