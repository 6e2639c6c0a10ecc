#pragma once

#include "platform/Clock.h"

#include <cstdint>

namespace platform::h264 {

/// How many bits the next frame may take so that a stream keeps to its average rate: an account
/// that fills at that rate, in the frames' own time, up to half a second's worth. A screen that
/// has been still for a while therefore settles at full quality, and no second takes more than one
/// and a half times the average as long as frames keep to their allowances. Pure.
class BitBudget {
public:
    explicit BitBudget(std::int64_t bitsPerSecond);

    void setRate(std::int64_t bitsPerSecond);
    /// For the frame of this time; times do not go back. A key frame may take all there is, any
    /// other frame leaves half of it to those behind it.
    std::int64_t allowance(MediaTime time, bool key);
    /// What that frame took, which may have been more.
    void spend(std::int64_t bits);

private:
    std::int64_t capacity() const { return rate / 2; }

    std::int64_t rate;
    std::int64_t balance;
    MediaTime last;
};

} // namespace platform::h264
