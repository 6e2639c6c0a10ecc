#include "platform/x11/capture/exclusion/Exclusion.h"

#include "platform/picture/DirtyBlocks.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace platform::x11 {
namespace {

/// What is seen where nothing else is known.
constexpr std::uint32_t plainColour = 0x303438;
/// A compositing manager is behind the windows: it may begin to let one fade out that has been gone
/// for a moment, and takes no longer than this.
constexpr auto maxFade = std::chrono::seconds(2);
/// Of catching up with windows that move while a frame is fetched; then they are covered.
constexpr int maxAttempts = 3;
/// A drawing cuts up what windows have abandoned; in more pieces than this it waits for a larger
/// one.
constexpr std::size_t maxPieces = 256;

/// A pixmap of the root's depth, all of one colour (0xRRGGBB) at first.
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

/// Adds an area to areas that don't overlap.
void unite(std::vector<Area>& areas, const Area& area) {
    if (area.empty())
        return;
    subtract(areas, area);
    areas.push_back(area);
}

} // namespace

Exclusion::Exclusion(const Connection& connection, EventHandlers& handlers,
                     std::vector<std::string> applications)
    : connection(connection),
      windows(connection, std::move(applications)) {
    follow(handlers, event::createNotify);
    follow(handlers, event::mapNotify);
    follow(handlers, event::unmapNotify);
    follow(handlers, event::destroyNotify);
    follow(handlers, event::configureNotify);
    follow(handlers, event::reparentNotify);
    handlers.on(event::circulateNotify, [this](const auto&) { backdropChanged = true; });
    handlers.on(event::damageNotify, [this](const auto& drawing, std::uint32_t sequence) {
        if (const auto drawn = screen ? screen->drawn(drawing, sequence) : std::nullopt)
            noteDrawing(*drawn);
        else if (backdrop && backdrop->handle(drawing, sequence))
            backdropChanged = true;
    });
    updateExcluded();
    watchScreen();
}

/// The backdrop first: an excluded window is no part of it, so what is excluded at the event is
/// what was before.
template<class Event>
void Exclusion::follow(EventHandlers& handlers, const EventType<Event>& type) {
    handlers.on(type, [this](const Event& event) {
        if (backdrop && backdrop->handle(event))
            backdropChanged = true;
        noteWindows(windows.handle(event));
    });
}

void Exclusion::noteWindows(bool moved) {
    for (const auto& area : windows.takeLeftAreas()) {
        subtract(redrawn, area);
        unite(abandoned, area);
        lastLeft = hostTime();
    }
    if (!moved)
        return;
    backdropChanged = true;
    for (const auto& area : windows.areas())
        unite(visited, area);
    updateExcluded();
    watchScreen();
}

/// As soon as a window appears, for it may be gone again before the next frame.
void Exclusion::watchScreen() {
    if (excluded.empty() || screen)
        return;
    if (connection.has(&xcb_damage_id))
        screen.emplace(connection, connection.root());
    backdrop = Backdrop::create(connection, excluded);
}

void Exclusion::noteDrawing(const Area& drawn) {
    screenChanged = screenChanged || touch(redrawn, drawn);
    if (!touch(abandoned, drawn) || abandoned.size() + redrawn.size() > maxPieces)
        return;
    screenChanged = true;
    if (backdrop)
        for (const auto& area : abandoned)
            unite(redrawn, intersection(area, drawn));
    subtract(abandoned, drawn);
    updateExcluded();
}

void Exclusion::updateExcluded() {
    excluded = abandoned;
    excluded.insert(excluded.end(), redrawn.begin(), redrawn.end());
    for (const auto& area : windows.areas())
        unite(excluded, area);
}

/// The excluded areas of the monitor, in its own coordinates; they don't overlap.
std::vector<Area> Exclusion::areasIn(const Area& monitor) const {
    std::vector<Area> found;
    for (const auto& area : excluded)
        if (const Area inside = intersection(area, monitor); !inside.empty())
            found.push_back(inside.movedBy(-monitor.x, -monitor.y));
    return found;
}

bool Exclusion::isNeeded(const Area& monitor) const {
    return !replaced.empty() || touch(visited, monitor) || touch(excluded, monitor);
}

bool Exclusion::hasNews(const Area& monitor) const {
    return isNeeded(monitor) && (backdropChanged || screenChanged);
}

void Exclusion::startOver() {
    replaced.clear();
    backdropChanged = true;
}

bool Exclusion::refresh(MonitorFrame& frame, picture::BlockMap& damaged, picture::BlockMap& dirty,
                        const std::function<void()>& readEvents) {
    const auto& monitor = frame.place();
    std::vector<Area> unsure;
    for (int attempt = 0; attempt < maxAttempts; ++attempt) {
        // What is painted while it is drawn from may have been drawn as it was before.
        unsure = unpaintedAreas();
        if (!refreshAsKnown(frame, damaged, dirty))
            return false;
        // The server tells of a window before it answers with pixels in which it can be seen.
        readEvents();
        if (!touch(visited, monitor))
            break;
    }
    for (const auto& more : {unpaintedAreas(), visited})
        unsure.insert(unsure.end(), more.begin(), more.end());
    for (const auto& area : unsure) {
        const Area inside = intersection(area, monitor).movedBy(-monitor.x, -monitor.y);
        picture::fillArea(frame.view(), inside, plainColour, dirty);
        unite(replaced, inside);
    }
    if (excluded.empty()) {
        screen.reset();
        backdrop.reset();
        screenChanged = false;
    }
    return true;
}

std::vector<Area> Exclusion::unpaintedAreas() const {
    return backdrop ? backdrop->unpaintedAreas() : std::vector<Area>{};
}

/// With all that is known of windows before.
bool Exclusion::refreshAsKnown(MonitorFrame& frame, picture::BlockMap& damaged,
                               picture::BlockMap& dirty) {
    const auto& monitor = frame.place();
    for (const auto& area : replaced)
        damaged.mark(area);
    for (const auto& area : std::exchange(visited, {}))
        damaged.mark(area.movedBy(-monitor.x, -monitor.y));
    if (backdrop && !backdrop->listWindows())
        backdrop.reset();
    if (!backdrop) {
        redrawn.clear(); // Without a compositing manager nothing fades.
        updateExcluded();
    }
    backdropChanged = false;
    replaced = areasIn(monitor);

    damaged.cover(areas, MonitorFrame::maxAreas);
    for (const auto& area : replaced)
        subtract(areas, area);
    if (!frame.refresh(areas, dirty))
        return false;
    damaged.clear();
    for (const auto& area : replaced)
        if (!backdrop)
            picture::fillArea(frame.view(), area, plainColour, dirty);
        else if (!recompose(frame, area, dirty))
            return false;
    if (backdrop && screenChanged && hostTime() - lastLeft > maxFade) {
        screenChanged = false;
        releaseCleanAreas(frame);
    }
    return true;
}

bool Exclusion::recompose(MonitorFrame& frame, const Area& area, picture::BlockMap& dirty) {
    const Pixmap drawing(connection, area.width, area.height, plainColour);
    backdrop->draw(area.movedBy(frame.place().x, frame.place().y), drawing.id, windows);
    return frame.refreshFrom(drawing.id, area, dirty);
}

/// Where the screen shows what the frame shows, whatever was there is gone.
void Exclusion::releaseCleanAreas(MonitorFrame& frame) {
    const auto& monitor = frame.place();
    std::erase_if(redrawn, [&](const Area& area) {
        const Area inside = intersection(area, monitor).movedBy(-monitor.x, -monitor.y);
        return inside.empty() || frame.isAsOnScreen(inside);
    });
    updateExcluded();
}

} // namespace platform::x11
