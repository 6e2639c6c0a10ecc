#pragma once

#include <algorithm>
#include <cstdint>

namespace platform {

/// Turns pixels into clicks of a wheel; what does not make up a click is kept for the next time.
class Wheel {
public:
    /// Clients scroll by about three lines a click.
    static constexpr std::int64_t pixelsForClick = 40;
    /// No screen is longer than this; a message that asks for more would keep the pointer busy.
    static constexpr std::int64_t mostClicks = 500;

    /// Whole clicks for these pixels and the rest of those before; negative ones turn back.
    std::int64_t turn(std::int32_t pixels) {
        rest += pixels;
        const auto clicks = rest / pixelsForClick;
        rest %= pixelsForClick;
        return std::clamp(clicks, -mostClicks, mostClicks);
    }

private:
    std::int64_t rest = 0;
};

} // namespace platform
