#include "platform/x11/capture/CaptureLoop.h"

#include "platform/x11/server/Monitors.h"
#include "platform/x11/server/Pixels.h"

#include <algorithm>
#include <string>

namespace platform::x11 {
namespace {

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
    return intersection({found->x, found->y, std::min(found->width, maxFrameSide),
                         std::min(found->height, maxFrameSide)},
                        {0, 0, root->width, root->height});
}

} // namespace

CaptureLoop::CapturedMonitor::CapturedMonitor(const Connection& connection, Area place)
    : frame(connection, place),
      damaged(place.width, place.height),
      reported(place.width, place.height),
      dirty(place.width, place.height) {
    damaged.markAll();
}

CaptureLoop::CaptureLoop(const ContentFilter& filter, const StreamConfiguration& configuration)
    : display(filter.display),
      connection(openOrFail()),
      handlers(*connection),
      loop(handlers),
      damage(DamageWatch::create(*connection, handlers)),
      cursor(configuration.showsCursor ? CursorWatch::create(*connection, handlers) : nullptr),
      schedule(configuration.minimumFrameInterval,
               {.changes = damage != nullptr, .areReliable = false, .pointerMoves = !cursor}),
      maxFramesInFlight(static_cast<std::size_t>(configuration.queueDepth)),
      maker(static_cast<int>(configuration.width), static_cast<int>(configuration.height)) {
    // The exclusion follows all windows.
    watchMonitors(
        *connection, handlers, [this] { monitorsChanged = true; },
        XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    if (!filter.excludedApplications.empty())
        exclusion = std::make_unique<Exclusion>(*connection, handlers, filter.excludedApplications);
    if (!followMonitor())
        fail("the display is not there");
    sample.valid = true;
    sample.attachments = {{FrameStatus::complete}};
}

bool CaptureLoop::run(const CaptureStream::OutputHandler& handler) {
    output = handler;
    loop.run([this](MediaTime now) { return makeTurn(now); });
    return !gaveUp;
}

EventLoop::Rest CaptureLoop::makeTurn(MediaTime now) {
    if (connection->lost())
        giveUp();
    if (gaveUp)
        return {};
    if (monitorsChanged) {
        monitorIsThere = followMonitor();
        schedule.setScreenIsThere(monitorIsThere, now);
    }
    auto plan = schedule.next(somethingChanged());
    if (plan.due && *plan.due <= now) {
        act(plan.step, now);
        plan = schedule.next(somethingChanged());
    }
    return {plan.due, plan.eventsMatter};
}

void CaptureLoop::act(FrameSchedule::Step step, MediaTime now) {
    switch (step) {
    case FrameSchedule::Step::look:
        return look(now);
    case FrameSchedule::Step::askForPointer:
        schedule.askedForPointer(now);
        cursor->ask();
        return followCursor();
    case FrameSchedule::Step::giveUp:
        return giveUp();
    }
}

void CaptureLoop::giveUp() {
    gaveUp = true;
    loop.stop();
}

bool CaptureLoop::followMonitor() {
    monitorsChanged = false;
    const Area place = placeOf(*connection, display);
    if (place.empty())
        return false;
    if (monitor && monitorIsThere && monitor->frame.place() == place)
        return true;
    monitor.emplace(*connection, place);
    maker.setSourceSize(place.width, place.height);
    if (exclusion)
        exclusion->startOver();
    return true;
}

bool CaptureLoop::somethingChanged() const {
    return (damage && damage->hasDamage()) || (cursor && cursor->mayHaveChanged()) ||
           (exclusion && exclusion->hasNews(monitor->frame.place())) || !monitor->damaged.empty() ||
           maker.hasDirtyBlocks();
}

void CaptureLoop::look(MediaTime now) {
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
        monitor->reported = monitor->damaged;
        monitor->damaged.markAll();
    }
    if (!fetch()) {
        // Perhaps because the monitor is no longer where it was.
        monitorsChanged = true;
        schedule.failLook(now);
        return;
    }
    const bool foundUnreported = everything && changedUnreported();
    schedule.endLook(hostTime(), foundUnreported);
    monitor->dirty.forEachRun([&](const Area& area) { maker.mark(area); });
    monitor->dirty.clear();
    if (maker.hasDirtyBlocks() && maker.framesInFlight() < maxFramesInFlight)
        deliver(now);
}

/// After a look at everything: whether blocks differed that no damage told of, neither before it
/// nor now, which would be damage that was done while it went on.
bool CaptureLoop::changedUnreported() {
    if (!damage || (exclusion && exclusion->isNeeded(monitor->frame.place())))
        return false;
    damage->ask();
    followDamage();
    monitor->reported.add(monitor->damaged);
    return !monitor->reported.includes(monitor->dirty);
}

void CaptureLoop::followDamage() {
    damage->answer(areas);
    const Area& place = monitor->frame.place();
    for (const auto& area : areas)
        monitor->damaged.mark(area.movedBy(-place.x, -place.y));
}

void CaptureLoop::followCursor() {
    const bool isNewImage = cursor->answer();
    const Area& place = monitor->frame.place();
    const Area area = cursor->area().movedBy(-place.x, -place.y);
    if (!isNewImage && area == shownCursorArea)
        return;
    maker.mark(shownCursorArea);
    maker.mark(area);
    shownCursorArea = area;
}

bool CaptureLoop::fetch() {
    if (exclusion && exclusion->isNeeded(monitor->frame.place()))
        return fetchAroundWindows();
    monitor->damaged.cover(areas, MonitorFrame::maxAreas);
    if (!monitor->frame.refresh(areas, monitor->dirty))
        return false;
    if (exclusion) {
        // The server tells of a window before it answers with pixels in which it can be seen.
        handlers.dispatchRead();
        if (exclusion->isNeeded(monitor->frame.place()))
            return fetchAroundWindows();
    }
    monitor->damaged.clear();
    return true;
}

bool CaptureLoop::fetchAroundWindows() {
    return exclusion->refresh(monitor->frame, monitor->damaged, monitor->dirty,
                              [&] { handlers.dispatchRead(); });
}

void CaptureLoop::deliver(MediaTime now) {
    const auto frame = monitor->frame.view();
    if (cursor)
        painter.paint(frame, cursor->image(), shownCursorArea.x, shownCursorArea.y);
    sample.image = maker.make(frame);
    if (cursor)
        painter.erase(frame);
    sample.presentationTime = now;
    output(SampleType::screen, sample);
    sample.image.reset();
}

} // namespace platform::x11
