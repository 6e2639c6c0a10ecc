#include "platform/x11/capture/CaptureLoop.h"

#include "platform/x11/server/Monitors.h"
#include "platform/x11/server/Pixels.h"

#include <xcb/randr.h>

#include <algorithm>
#include <chrono>
#include <string>

namespace platform::x11 {
namespace {

using namespace std::chrono_literals;

constexpr int largestSide = 16384; // of a PixelBuffer
/// Some drivers lose damage. The longest that a change may go unseen for it, while a look at
/// everything costs less than a hundredth of what the pictures cost.
constexpr auto verificationInterval = 2s;

/// How long a monitor may be off, as in a change of mode or after a nap, or its picture not to be
/// had, before the stream is over.
constexpr auto maxUnavailable = 3s;

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

const StreamConfiguration& checked(const StreamConfiguration& configuration) {
    const auto fits = [](std::int64_t side) {
        return side >= 2 && side <= largestSide && side % 2 == 0;
    };
    if (configuration.pixelFormat != PixelFormat::video420)
        fail("pictures are made in video420 only");
    if (!fits(configuration.width) || !fits(configuration.height))
        fail("pictures have even sides of up to 16384 pixels");
    if (configuration.queueDepth < 1)
        fail("a stream needs at least one picture");
    return configuration;
}

/// Where the monitor is on the root window; empty if it is gone.
Area placeOf(const Connection& connection, DisplayID display) {
    const auto present = monitors(connection);
    const auto found = std::ranges::find(present, display, &Monitor::name);
    const auto root =
        reply(connection, xcb_get_geometry_reply, xcb_get_geometry(connection, connection.root()));
    if (found == present.end() || !root)
        return {};
    return picture::intersection({found->x, found->y, std::min(found->width, largestSide),
                                  std::min(found->height, largestSide)},
                                 {0, 0, root->width, root->height});
}

bool isAboutMonitors(const Connection& connection, const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7F;
    if (type == XCB_CONFIGURE_NOTIFY)
        return reinterpret_cast<const xcb_configure_notify_event_t&>(event).window ==
               connection.root();
    if (!connection.has(&xcb_randr_id))
        return false;
    const int first = connection.firstEvent(&xcb_randr_id);
    return type == first + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == first + XCB_RANDR_NOTIFY;
}

} // namespace

CaptureLoop::Film::Film(const Connection& connection, Area place)
    : picture(connection, place),
      pending(place.width, place.height),
      changed(place.width, place.height) {
    pending.markAll();
}

CaptureLoop::CaptureLoop(const ContentFilter& filter, const StreamConfiguration& configuration)
    : display(filter.display),
      connection(openOrFail()),
      pacer(checked(configuration).minimumFrameInterval),
      queueDepth(static_cast<std::size_t>(configuration.queueDepth)),
      maker(static_cast<int>(configuration.width), static_cast<int>(configuration.height)) {
    selectEvents();
    damage = DamageWatch::create(*connection);
    if (configuration.showsCursor)
        cursor = CursorWatch::create(*connection);
    if (!filter.excludedApplications.empty())
        exclusion = std::make_unique<Exclusion>(*connection, filter.excludedApplications);
    if (!followMonitor())
        fail("the display is not there");
    sample.valid = true;
    sample.attachments = {{FrameStatus::complete}};
}

void CaptureLoop::selectEvents() const {
    const std::uint32_t structure =
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(*connection, connection->root(), XCB_CW_EVENT_MASK, &structure);
    if (!connection->has(&xcb_randr_id))
        return;
    reply(*connection, xcb_randr_query_version_reply, xcb_randr_query_version(*connection, 1, 5));
    xcb_randr_select_input(*connection, connection->root(),
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
}

bool CaptureLoop::run(const CaptureStream::OutputHandler& output) {
    while (!stopSignal.isSet()) {
        readEvents();
        if (connection->lost())
            return false;
        if (monitorsChanged) {
            monitorIsThere = followMonitor();
            if (!monitorIsThere && !unavailableSince)
                unavailableSince = hostTime();
            continue; // More events may have come meanwhile.
        }
        const auto now = hostTime();
        if (unavailableSince && now - *unavailableSince >= maxUnavailable)
            return false;
        const auto due = nextFrame();
        if (due && *due <= now) {
            if (!frame(now)) {
                if (!unavailableSince)
                    unavailableSince = now;
                continue;
            }
            unavailableSince.reset();
            if (maker.hasNews() && maker.lent() < queueDepth)
                deliver(now, output);
            continue;
        }
        xcb_flush(*connection);
        // Flushing reads, too: an event that came with it would not end the rest.
        if (readEvents(xcb_poll_for_queued_event))
            continue;
        // What comes before a frame that is due anyway need not wake anybody.
        const bool listens = !monitorIsThere || !stirred();
        stopSignal.rest(listens ? xcb_get_file_descriptor(*connection) : -1, due);
    }
    return true;
}

bool CaptureLoop::readEvents(xcb_generic_event_t* (*next)(xcb_connection_t*)) {
    bool any = false;
    while (const Owned<xcb_generic_event_t> event{next(*connection)}) {
        any = true;
        if (damage)
            damage->handle(*event);
        if (cursor)
            cursor->handle(*event);
        if (exclusion)
            exclusion->handle(*event);
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

bool CaptureLoop::stirred() const {
    return !damage || damage->stirred() || (cursor && cursor->stirred()) ||
           (exclusion && exclusion->hasNews(film->picture.place())) || !film->pending.empty() ||
           maker.hasNews();
}

std::optional<MediaTime> CaptureLoop::nextFrame() const {
    if (!monitorIsThere)
        return *unavailableSince + maxUnavailable;
    if (stirred())
        return pacer.earliest();
    return verification;
}

bool CaptureLoop::frame(MediaTime now) {
    pacer.started(now);
    if (!damage || (verification && *verification <= now)) {
        verification.reset();
        film->pending.markAll();
    }
    if (damage)
        damage->ask();
    if (cursor)
        cursor->ask();
    if (damage)
        followDamage();
    if (cursor)
        followCursor();
    if (fetch()) {
        film->changed.forEachRun([&](const Area& area) { maker.mark(area); });
        film->changed.clear();
        return true;
    }
    // Perhaps because the monitor is no longer where it was.
    monitorsChanged = true;
    return false;
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
    if (damage && !verification)
        verification = hostTime() + verificationInterval;
}

} // namespace platform::x11
