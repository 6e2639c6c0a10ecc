#pragma once

#include <algorithm>
#include <cmath>

namespace platform {

/// Turns pixels into clicks of a wheel; what does not make up a click is kept for the next time.
class Wheel final {
public:
    /// Clients scroll by about three lines a click.
    static constexpr double pixelsForClick = 40;
    /// No screen is longer than this; a message that asks for more would keep the pointer busy.
    static constexpr int maxClicks = 500;

    /// Whole clicks for these pixels and the rest of those before; negative ones turn back.
    int turn(double pixels) {
        constexpr double limit = maxClicks * pixelsForClick;
        rest = std::clamp(rest + pixels, -limit, limit);
        const int clicks = static_cast<int>(rest / pixelsForClick);
        rest = std::fmod(rest, pixelsForClick);
        return clicks;
    }

private:
    double rest = 0;
};

} // namespace platform
