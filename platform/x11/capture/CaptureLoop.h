#pragma once

#include "platform/ScreenCapture.h"
#include "platform/decisions/FrameSchedule.h"
#include "platform/picture/BlockMap.h"
#include "platform/picture/CursorPainter.h"
#include "platform/picture/FrameMaker.h"
#include "platform/x11/capture/CursorWatch.h"
#include "platform/x11/capture/DamageWatch.h"
#include "platform/x11/capture/MonitorFrame.h"
#include "platform/x11/capture/exclusion/Exclusion.h"
#include "platform/x11/server/EventLoop.h"

#include <memory>
#include <optional>
#include <vector>

namespace platform::x11 {

/// Captures one monitor over a connection of its own. The server's events tell of damage; when the
/// schedule has a look due, what was drawn on is fetched, and the blocks that really differ go into
/// a frame. In between only the pointer is looked after, if it is shown, some times a second.
///
/// Everything but `stop` belongs to the thread that is in `run`.
class CaptureLoop {
public:
    /// Throws CaptureError if the monitor can't be captured.
    CaptureLoop(const ContentFilter& filter, const StreamConfiguration& configuration);

    /// Hands every frame to `output` until `stop`, or until the server is gone, or the monitor for
    /// a while. Returns true if it was `stop`.
    bool run(const CaptureStream::OutputHandler& output);
    /// Callable from any thread.
    void stop() { loop.stop(); }

private:
    /// The monitor as it was when last looked at, and what is known of it since.
    struct CapturedMonitor {
        CapturedMonitor(const Connection& connection, Area place);

        MonitorFrame frame;
        picture::BlockMap damaged;  ///< Drawn on, or unknown, and not looked at yet.
        picture::BlockMap reported; ///< The damage there was before a look at everything.
        picture::BlockMap dirty;    ///< Found to differ by the look that goes on.
    };

    EventLoop::Rest makeTurn(MediaTime now);
    /// Does what is due.
    void act(FrameSchedule::Step step, MediaTime now);
    /// Ends `run` because the server or the monitor is gone.
    void giveUp();
    /// Finds out where the monitor is now. Returns false if it is not there.
    bool followMonitor();
    bool somethingChanged() const;
    void look(MediaTime now);
    void followDamage();
    void followCursor();
    bool fetch();
    bool fetchAroundWindows();
    bool changedUnreported();
    void deliver(MediaTime now);

    const DisplayID display;
    const std::unique_ptr<Connection> connection;
    EventHandlers handlers;
    EventLoop loop;
    CaptureStream::OutputHandler output;
    bool gaveUp = false;
    std::unique_ptr<DamageWatch> damage;  // nullptr: the server reports no damage
    std::unique_ptr<CursorWatch> cursor;  // nullptr: the cursor is not to be shown
    std::unique_ptr<Exclusion> exclusion; // nullptr: no application is excluded
    FrameSchedule schedule;
    const std::size_t maxFramesInFlight;
    picture::FrameMaker maker;
    picture::CursorPainter painter;
    bool monitorsChanged = false; // since `monitor` was made
    bool monitorIsThere = true;
    std::optional<CapturedMonitor> monitor; // never empty after the construction
    Area shownCursorArea;                   // in the monitor's coordinates
    std::vector<Area> areas;                // scratch
    CaptureSample sample;
};

} // namespace platform::x11
