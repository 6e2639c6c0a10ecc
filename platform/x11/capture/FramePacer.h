#pragma once

#include "platform/Clock.h"

#include <chrono>
#include <optional>

namespace platform::x11 {

/// Keeps frames an interval apart, counted from start to start: what a frame costs does not slow
/// the stream down, and after a pause the next frame need not wait.
class FramePacer {
public:
    explicit FramePacer(std::chrono::nanoseconds interval) : interval(interval) {}

    /// When the next frame may start; long ago, if there was none yet.
    MediaTime earliest() const { return last ? *last + interval : MediaTime{}; }
    void started(MediaTime now) { last = now; }

private:
    std::chrono::nanoseconds interval;
    std::optional<MediaTime> last;
};

} // namespace platform::x11
