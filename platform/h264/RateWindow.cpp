#include "platform/h264/RateWindow.h"

#include <algorithm>

namespace platform::h264 {

void RateWindow::setLimit(std::int64_t bytes, std::chrono::nanoseconds duration) {
    limit = bytes;
    window = duration;
}

void RateWindow::sent(MediaTime now, std::int64_t bytes) {
    forget(now);
    entries.push_back({now, bytes});
    total += bytes;
}

MediaTime RateWindow::roomFor(std::int64_t bytes, MediaTime now) {
    if (limit == 0)
        return now;
    forget(now);
    auto left = total;
    const auto wanted = std::max<std::int64_t>(limit - bytes, 0);
    auto time = now;
    for (auto oldest = entries.begin(); left > wanted; ++oldest) {
        left -= oldest->bytes;
        time = oldest->time + window;
    }
    return time;
}

std::int64_t RateWindow::room(MediaTime now) {
    constexpr std::int64_t anyNumber = 1'000'000'000;
    if (limit == 0)
        return anyNumber;
    forget(now);
    return std::max<std::int64_t>(limit - total, 0);
}

void RateWindow::forget(MediaTime now) {
    while (!entries.empty() && entries.front().time + window <= now) {
        total -= entries.front().bytes;
        entries.pop_front();
    }
}

} // namespace platform::h264
