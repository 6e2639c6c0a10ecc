#pragma once

#include "platform/ScreenCapture.h"
#include "platform/decisions/FrameSchedule.h"
#include "platform/picture/BlockMap.h"
#include "platform/picture/CursorPainter.h"
#include "platform/picture/PictureMaker.h"
#include "platform/x11/capture/CursorWatch.h"
#include "platform/x11/capture/DamageWatch.h"
#include "platform/x11/capture/MonitorPicture.h"
#include "platform/x11/capture/exclusion/Exclusion.h"
#include "platform/x11/server/StopSignal.h"

#include <memory>
#include <optional>
#include <vector>

namespace platform::x11 {

/// Films one monitor over a connection of its own. The server's events say when there may be
/// something new; then, when the schedule has a look due, what was drawn on is looked at again,
/// and what really changed goes into a picture. In between nothing runs.
///
/// Everything but `stop` belongs to the thread that is in `run`.
class CaptureLoop {
public:
    /// Throws CaptureError if the monitor can't be filmed.
    CaptureLoop(const ContentFilter& filter, const StreamConfiguration& configuration);

    /// Hands every picture to `output` until `stop`, or until the server is gone, or the
    /// monitor for a while.
    /// True if it was `stop`.
    bool run(const CaptureStream::OutputHandler& output);
    /// Callable from any thread.
    void stop() const { stopSignal.set(); }

private:
    /// The monitor as it is at present, and what is to be done about it.
    struct Film {
        Film(const Connection& connection, Area place);

        MonitorPicture picture;
        picture::BlockMap pending;  ///< What was drawn on and not looked at yet.
        picture::BlockMap reported; ///< What the server said was drawn on when all is looked at.
        picture::BlockMap changed;  ///< What was different when it was.
    };

    /// Deals with the events that `next` gives; false if there was none.
    bool readEvents(xcb_generic_event_t* (*next)(xcb_connection_t*) = xcb_poll_for_event);
    /// False if the monitor is not there.
    bool followMonitor();
    /// Does what is due; false if the capture is over.
    bool act(FrameSchedule::Step step, MediaTime now, const CaptureStream::OutputHandler& output);
    bool somethingChanged() const;
    void look(MediaTime now, const CaptureStream::OutputHandler& output);
    void followDamage();
    void followCursor();
    bool fetch();
    bool fetchAroundWindows();
    bool changedUnreported();
    void deliver(MediaTime now, const CaptureStream::OutputHandler& output);

    const DisplayID display;
    const StopSignal stopSignal;
    const std::unique_ptr<Connection> connection;
    EventHandlers handlers;
    std::unique_ptr<DamageWatch> damage;  // empty: everything has to be looked at all the time
    std::unique_ptr<CursorWatch> cursor;  // empty: not to be shown
    std::unique_ptr<Exclusion> exclusion; // empty: no application is excluded
    FrameSchedule schedule;
    const std::size_t queueDepth; // pictures that may be with others at one time
    picture::PictureMaker maker;
    picture::CursorPainter painter;
    bool monitorsChanged = false; // since `film` was made
    bool monitorIsThere = true;
    std::optional<Film> film; // never empty after the construction
    Area shownCursor;         // in the monitor's coordinates
    std::vector<Area> areas;  // scratch
    CaptureSample sample;
};

} // namespace platform::x11
