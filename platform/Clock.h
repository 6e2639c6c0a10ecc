#pragma once

#include <chrono>
#include <compare>
#include <cstdint>

namespace platform {

/// A point on a media time line, in nanoseconds since that line's own zero.
struct MediaTime {
    std::int64_t nanoseconds = 0;

    friend constexpr auto operator<=>(MediaTime, MediaTime) = default;
    friend constexpr MediaTime operator+(MediaTime time, std::chrono::nanoseconds step) {
        return {time.nanoseconds + step.count()};
    }
    friend constexpr std::chrono::nanoseconds operator-(MediaTime later, MediaTime earlier) {
        return std::chrono::nanoseconds{later.nanoseconds - earlier.nanoseconds};
    }
};

/// The host clock: monotonic, shared by everything that stamps frames. Callable from any thread.
inline MediaTime hostTime() {
    using namespace std::chrono;
    return {duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count()};
}

} // namespace platform
