#pragma once

#include "platform/ScreenCapture.h"
#include "platform/decisions/FrameSchedule.h"
#include "platform/picture/BlockMap.h"
#include "platform/picture/FrameMaker.h"
#include "platform/wayland/capture/Exclusion.h"
#include "platform/wayland/capture/OutputFrame.h"
#include "platform/wayland/capture/ScreenCopy.h"
#include "platform/wayland/server/Connection.h"
#include "platform/wayland/server/EventLoop.h"
#include "platform/wayland/server/Outputs.h"

#include <memory>
#include <optional>
#include <vector>

namespace platform::wayland {

/// Captures one output over a connection of its own. At the next time a frame may start, the
/// compositor is asked for a copy; it comes when something was drawn, and what really changed goes
/// into a frame. In between nothing runs.
///
/// Everything but `stop` belongs to the thread that is in `run`.
class CaptureLoop {
public:
    /// Throws CaptureError if the output can't be captured.
    CaptureLoop(const ContentFilter& filter, const StreamConfiguration& configuration);

    /// Hands every frame to `output` until `stop`, or until the compositor is gone, or the output
    /// for a while. Returns true if it was `stop`.
    bool run(const CaptureStream::OutputHandler& output);
    /// Callable from any thread.
    void stop() { loop.stop(); }

private:
    /// The output as it was when last copied.
    struct CapturedOutput {
        CapturedOutput(int width, int height) : frame(width, height), dirty(width, height) {}

        OutputFrame frame;
        picture::BlockMap dirty; ///< Since the last frame was made.
        picture::Orientation orientation;
        std::vector<Area> hidden; ///< What was covered.
    };

    std::optional<MediaTime> makeTurn(MediaTime now, const CaptureStream::OutputHandler& output);
    void followOutput(MediaTime now);
    void followCopy(MediaTime now);
    void take(MediaTime now);
    void deliver(MediaTime now, const CaptureStream::OutputHandler& output);
    /// Returns when to look again, unless something happens.
    std::optional<MediaTime> askForMore(MediaTime now);
    void ask(MediaTime now, bool atOnce);
    void giveUp();

    const DisplayID display;
    const std::chrono::nanoseconds interval;
    const std::unique_ptr<Connection> connection;
    EventLoop loop;
    Outputs outputs;
    ScreenCopy copy;
    std::optional<Exclusion> exclusion; // empty: no application is excluded
    FrameSchedule schedule;
    const std::size_t maxFramesInFlight; // frames that may be with others at one time
    picture::FrameMaker maker;
    std::optional<Output> source;           // empty while it is not there
    std::optional<CapturedOutput> captured; // empty before the first copy
    MediaTime nextTry;                      // after one that failed
    bool gaveUp = false;
    CaptureSample sample;
};

} // namespace platform::wayland
