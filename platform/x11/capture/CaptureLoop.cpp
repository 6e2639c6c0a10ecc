#include "platform/x11/capture/CaptureLoop.h"

#include "platform/x11/server/Monitors.h"
#include "platform/x11/server/Pixels.h"

#include <algorithm>
#include <string>

namespace platform::x11 {
namespace {

constexpr int largestSide = 16384; // of a PixelBuffer
[[noreturn]] void fail(const std::string& why) {
    throw CaptureError("orvel.x11", 1, why);
}

std::unique_ptr<Connection> openOrFail() {
    auto connection = Connection::open();
    if (!connection)
        fail("there is no X server to be reached");
    if (!pixelLayout(*connection))
        fail("the screen's pixels are of a kind that can't be read");
    return connection;
}

/// Where the monitor is on the root window; empty if it is gone.
Area placeOf(const Connection& connection, DisplayID display) {
    const auto present = monitors(connection);
    const auto found = std::ranges::find(present, display, &Monitor::id);
    const auto root =
        reply(connection, xcb_get_geometry_reply, xcb_get_geometry(connection, connection.root()));
    if (found == present.end() || !root)
        return {};
    return picture::intersection({found->x, found->y, std::min(found->width, largestSide),
                                  std::min(found->height, largestSide)},
                                 {0, 0, root->width, root->height});
}

} // namespace

CaptureLoop::Film::Film(const Connection& connection, Area place)
    : picture(connection, place),
      pending(place.width, place.height),
      reported(place.width, place.height),
      changed(place.width, place.height) {
    pending.markAll();
}

CaptureLoop::CaptureLoop(const ContentFilter& filter, const StreamConfiguration& configuration)
    : display(filter.display),
      connection(openOrFail()),
      handlers(*connection),
      damage(DamageWatch::create(*connection)),
      cursor(configuration.showsCursor ? CursorWatch::create(*connection) : nullptr),
      schedule(configuration.minimumFrameInterval,
               {.changes = damage != nullptr, .areReliable = false, .pointerMoves = !cursor}),
      queueDepth(static_cast<std::size_t>(configuration.queueDepth)),
      maker(static_cast<int>(configuration.width), static_cast<int>(configuration.height)) {
    watchMonitors(*connection, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    if (!filter.excludedApplications.empty())
        exclusion = std::make_unique<Exclusion>(*connection, handlers, filter.excludedApplications);
    if (!followMonitor())
        fail("the display is not there");
    sample.valid = true;
    sample.attachments = {{FrameStatus::complete}};
}

bool CaptureLoop::run(const CaptureStream::OutputHandler& output) {
    while (!stopSignal.isSet()) {
        readEvents();
        if (connection->lost())
            return false;
        const auto now = hostTime();
        if (monitorsChanged) {
            monitorIsThere = followMonitor();
            schedule.setScreenIsThere(monitorIsThere, now);
            continue; // More events may have come meanwhile.
        }
        const auto plan = schedule.next(somethingChanged());
        if (plan.due && *plan.due <= now) {
            if (!act(plan.step, now, output))
                return false;
            continue;
        }
        xcb_flush(*connection);
        // Flushing reads, too: an event that came with it would not end the rest.
        if (readEvents(xcb_poll_for_queued_event))
            continue;
        stopSignal.rest(plan.eventsMatter ? xcb_get_file_descriptor(*connection) : -1, plan.due);
    }
    return true;
}

bool CaptureLoop::act(FrameSchedule::Step step, MediaTime now,
                      const CaptureStream::OutputHandler& output) {
    switch (step) {
    case FrameSchedule::Step::look:
        look(now, output);
        return true;
    case FrameSchedule::Step::askForPointer:
        schedule.askedForPointer(now);
        cursor->ask();
        followCursor();
        return true;
    case FrameSchedule::Step::giveUp:
        return false;
    }
    return false;
}

bool CaptureLoop::readEvents(xcb_generic_event_t* (*next)(xcb_connection_t*)) {
    bool any = false;
    while (const Owned<xcb_generic_event_t> event{next(*connection)}) {
        any = true;
        if (damage)
            damage->handle(*event);
        if (cursor)
            cursor->handle(*event);
        handlers.handle(*event);
        monitorsChanged = monitorsChanged || isAboutMonitors(*connection, *event);
    }
    return any;
}

bool CaptureLoop::followMonitor() {
    monitorsChanged = false;
    const Area place = placeOf(*connection, display);
    if (place.empty())
        return false;
    if (film && film->picture.place() == place) {
        if (!monitorIsThere)
            film->pending.markAll();
        return true;
    }
    film.emplace(*connection, place);
    maker.setSourceSize(place.width, place.height);
    if (exclusion)
        exclusion->startOver();
    return true;
}

bool CaptureLoop::somethingChanged() const {
    return (damage && damage->stirred()) || (cursor && cursor->stirred()) ||
           (exclusion && exclusion->hasNews(film->picture.place())) || !film->pending.empty() ||
           maker.hasNews();
}

void CaptureLoop::look(MediaTime now, const CaptureStream::OutputHandler& output) {
    const bool everything = schedule.startLook(now);
    if (damage)
        damage->ask();
    if (cursor)
        cursor->ask();
    if (damage)
        followDamage();
    if (cursor)
        followCursor();
    if (everything) {
        film->reported = film->pending;
        film->pending.markAll();
    }
    if (!fetch()) {
        // Perhaps because the monitor is no longer where it was.
        monitorsChanged = true;
        schedule.failLook(now);
        return;
    }
    const bool foundUnreported = everything && changedUnreported();
    schedule.endLook(hostTime(), foundUnreported);
    film->changed.forEachRun([&](const Area& area) { maker.mark(area); });
    film->changed.clear();
    if (maker.hasNews() && maker.lent() < queueDepth)
        deliver(now, output);
}

/// After a look at everything: whether any of what changed was neither said to have been drawn on
/// before it began nor is now, which would be damage that came while it went on.
bool CaptureLoop::changedUnreported() {
    if (!damage || (exclusion && exclusion->isNeeded(film->picture.place())))
        return false;
    damage->ask();
    followDamage();
    film->reported.add(film->pending);
    return !film->reported.includes(film->changed);
}

void CaptureLoop::followDamage() {
    damage->answer(areas);
    const Area& monitor = film->picture.place();
    for (const auto& area : areas)
        film->pending.mark(area.movedBy(-monitor.x, -monitor.y));
}

void CaptureLoop::followCursor() {
    const bool newLooks = cursor->answer();
    const Area& monitor = film->picture.place();
    const Area place = cursor->place().movedBy(-monitor.x, -monitor.y);
    if (!newLooks && place == shownCursor)
        return;
    maker.mark(shownCursor);
    maker.mark(place);
    shownCursor = place;
}

bool CaptureLoop::fetch() {
    if (exclusion && exclusion->isNeeded(film->picture.place()))
        return fetchAroundWindows();
    film->pending.cover(areas, MonitorPicture::mostAreas);
    if (!film->picture.refresh(areas, film->changed))
        return false;
    if (exclusion) {
        // The server tells of a window before it answers with a picture in which it can be seen.
        readEvents();
        if (exclusion->isNeeded(film->picture.place()))
            return fetchAroundWindows();
    }
    film->pending.clear();
    return true;
}

bool CaptureLoop::fetchAroundWindows() {
    return exclusion->refresh(film->picture, film->pending, film->changed, [&] { readEvents(); });
}

void CaptureLoop::deliver(MediaTime now, const CaptureStream::OutputHandler& output) {
    const auto canvas = film->picture.canvas();
    if (cursor)
        painter.paint(canvas, cursor->image(), shownCursor.x, shownCursor.y);
    sample.image = maker.make({canvas.data, canvas.bytesPerRow, canvas.width, canvas.height});
    if (cursor)
        painter.erase(canvas);
    sample.presentationTime = now;
    output(SampleType::screen, sample);
    sample.image.reset();
}

} // namespace platform::x11
