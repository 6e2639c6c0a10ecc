#pragma once

#include "platform/Clock.h"

#include <chrono>
#include <optional>

namespace platform::x11 {

/// Keeps frames an interval apart, counted from start to start: what a frame costs does not slow
/// the stream down, and after a pause the next frame need not wait. A frame that starts a little
/// late, as each one does that waits for a clock, does not put off those behind it; else 60 frames
/// a second would be 57.
class FramePacer {
public:
    explicit FramePacer(std::chrono::nanoseconds interval) : interval(interval) {}

    /// When the next frame may start; long ago, if there was none yet.
    MediaTime earliest() const { return last ? *last + interval : MediaTime{}; }
    void started(MediaTime now) {
        const auto due = earliest();
        last = now - due < interval / 4 ? due : now;
    }

private:
    std::chrono::nanoseconds interval;
    std::optional<MediaTime> last;
};

} // namespace platform::x11
