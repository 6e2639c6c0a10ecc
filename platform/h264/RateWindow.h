#pragma once

#include "platform/Clock.h"

#include <cstdint>
#include <deque>

namespace platform::h264 {

/// Counts what was sent within a sliding window of time and says when there is room for more.
/// Pure: the caller tells the time, which never goes back.
class RateWindow {
public:
    /// At most `bytes` in any `window`; both positive. Until then there is always room.
    void setLimit(std::int64_t bytes, std::chrono::nanoseconds window);

    void sent(MediaTime now, std::int64_t bytes);

    /// The earliest time, not after `now` if that is now, from which on `bytes` more stay within
    /// the limit. What exceeds the limit by itself gets the time at which nothing else counts; no
    /// bytes at all the time at which what counts is within the limit.
    MediaTime roomFor(std::int64_t bytes, MediaTime now);

    /// How many bytes more stay within the limit now.
    std::int64_t room(MediaTime now);

private:
    struct Entry {
        MediaTime time;
        std::int64_t bytes;
    };
    void forget(MediaTime now);

    std::int64_t limit = 0; // 0: none
    std::chrono::nanoseconds window{0};
    std::deque<Entry> entries; // within the window, oldest first
    std::int64_t total = 0;    // of the entries
};

} // namespace platform::h264
