#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

inline double milliseconds(std::chrono::nanoseconds span) {
    return std::chrono::duration<double, std::milli>(span).count();
}

/// The value below which this share of the values lies; there must be some.
inline double quantile(std::vector<double> values, double share) {
    std::ranges::sort(values);
    return values.at(static_cast<std::size_t>(share * static_cast<double>(values.size() - 1)));
}

} // namespace bench
