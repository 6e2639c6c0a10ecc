#include "platform/h264/BitForecast.h"

#include <algorithm>
#include <cmath>

namespace platform::h264 {
namespace {

/// Bits for each difference of 1 between pixels: measured on pages of text, which a quantiser
/// coarser by 18 halves. Photographs halve sooner, so that for them this is a cautious guess.
double density(int quantiser) {
    static const auto table = [] {
        std::array<double, maxQuantiser + 1> densities{};
        for (int i = 0; i <= maxQuantiser; ++i)
            densities[static_cast<std::size_t>(i)] = 0.08 * std::exp2((18 - i) / 18.0);
        return densities;
    }();
    return table[static_cast<std::size_t>(quantiser)];
}

double freshBits(const Work& work, int quantiser) {
    return static_cast<double>(work.fresh) * density(quantiser);
}

double knownBits(const Work& work, int quantiser) {
    double bits = 0;
    for (int known = quantiser + 1; known <= maxQuantiser; ++known)
        bits += static_cast<double>(work.known[static_cast<std::size_t>(known)]) *
                (density(quantiser) - density(known));
    return bits;
}

/// Frames of fewer bits are mostly what every frame takes.
constexpr double minBitsToLearnFrom = 40'000;

void learnScale(double& scale, double ratio) {
    // Half the way, since one frame is not like the next.
    scale = std::clamp(scale * std::sqrt(std::clamp(ratio, 0.25, 4.0)), 0.1, 4.0);
}

} // namespace

std::int64_t BitForecast::bits(const Work& work, int quantiser) const {
    return static_cast<std::int64_t>(freshScale * freshBits(work, quantiser) +
                                     knownScale * knownBits(work, quantiser));
}

int BitForecast::quantiser(const Work& work, std::int64_t maxBits, int finest, int coarsest) const {
    int quantiser = finest;
    while (quantiser < coarsest && bits(work, quantiser) > maxBits)
        ++quantiser;
    return quantiser;
}

void BitForecast::learn(const Work& work, int quantiser, std::int64_t bits) {
    const double fresh = freshScale * freshBits(work, quantiser);
    const double known = knownScale * knownBits(work, quantiser);
    if (fresh + known < minBitsToLearnFrom)
        return;
    learnScale(fresh > known ? freshScale : knownScale,
               static_cast<double>(bits) / (fresh + known));
}

} // namespace platform::h264
