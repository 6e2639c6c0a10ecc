#pragma once

#include "platform/h264/BlockQuality.h"

#include <cstdint>

namespace platform::h264 {

/// Foresees how many bits a frame takes at a quantiser, and learns from what frames took. Pure.
class BitForecast {
public:
    std::int64_t bits(const Work& work, int quantiser) const;

    /// Returns the finest quantiser from `finest` to `coarsest` whose bits are within `maxBits`, or
    /// `coarsest` if none is.
    int quantiser(const Work& work, std::int64_t maxBits, int finest, int coarsest) const;

    /// What a frame took.
    void learn(const Work& work, int quantiser, std::int64_t bits);

private:
    double freshScale = 1;
    double knownScale = 1;
};

} // namespace platform::h264
