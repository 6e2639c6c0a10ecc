#include "local/VideoSize.h"

#include <algorithm>
#include <cmath>

namespace orvel {

VideoSize videoSize(const platform::Rect& bounds, std::int64_t pixelWidth, int maxw) {
    const auto pixels = static_cast<double>(pixelWidth);
    const double pixelsPerPoint = pixels / std::max(bounds.width, 1.0);
    const double target = std::min<double>(maxw, pixels);
    const double pointShare = target / std::max(bounds.width * pixelsPerPoint, 1.0);
    const auto even = [](double exact) {
        return 2 * static_cast<std::int64_t>(std::floor(exact * 0.5));
    };
    return {even(target), even(pixelsPerPoint * (bounds.height * pointShare))};
}

} // namespace orvel
