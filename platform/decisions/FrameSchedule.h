#pragma once

#include "platform/Clock.h"

#include <chrono>
#include <optional>

namespace platform {

/// Decides when a capture looks at its screen: no sooner than the next frame may start, as soon as
/// something may have changed, and else only for what nobody reports. Pure: the caller tells the
/// time, which never goes back, and does what `next` says when it is due.
///
/// Frames are an interval apart, counted from start to start: what a frame costs does not slow the
/// stream down, and after a pause the next frame need not wait. A frame that starts a little late,
/// as each one does that waits for a clock, does not put off those behind it; else 60 frames a
/// second would be 57.
class FrameSchedule {
public:
    /// What is known of the screen without looking at it.
    struct Reports {
        bool changes = true;      ///< False: only a look at everything finds changes.
        bool areReliable = true;  ///< False: some changes may go unreported.
        bool pointerMoves = true; ///< False: the pointer's place has to be asked for.
    };
    FrameSchedule(std::chrono::nanoseconds interval, Reports reports);

    enum class Step { look, askForPointer, giveUp };
    struct Plan {
        Step step = Step::look;
        std::optional<MediaTime> due; ///< nullopt: nothing is to be done before something happens.
        bool eventsMatter = true;     ///< Whether something that happens may be due sooner.
    };
    /// What is to be done next. `somethingChanged` says whether something to look at is known.
    Plan next(bool somethingChanged) const;

    /// A look begins. Returns true if it has to be a look at everything, whatever is known to have
    /// changed.
    bool startLook(MediaTime now);
    /// The look that began last is over. `foundUnreported` says whether it found changes that
    /// should have been reported and were not.
    void endLook(MediaTime now, bool foundUnreported);
    /// The look that began last could not get the screen, which may pass.
    void failLook(MediaTime now);
    /// The pointer's place was asked for.
    void askedForPointer(MediaTime now) { pointerAsked = now; }
    /// The screen has disappeared, for a moment or for good, or is there again.
    void setScreenIsThere(bool isThere, MediaTime now);

private:
    MediaTime nextFrame() const { return lastFrame ? *lastFrame + interval : MediaTime{}; }

    std::chrono::nanoseconds interval;
    Reports reports;
    std::optional<MediaTime> lastFrame; ///< When it started, or was due if that was just before.
    MediaTime pointerAsked;
    bool screenIsThere = true;
    std::optional<MediaTime> unavailableSince; ///< While the screen can't be looked at.

    /// When to look at everything, in case a change was not reported.
    std::optional<MediaTime> verification;
    std::optional<MediaTime> verifyingSince; ///< While that is done.
    std::chrono::nanoseconds verificationPause;
    std::chrono::nanoseconds verificationCost{0}; ///< How long the last one took.
};

} // namespace platform
