#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace test {

struct NaivePixels {
    std::vector<std::uint8_t> pixels; ///< Blue, green, red, 255.
    std::string failure;              ///< The sentence, if the data was refused.
};

/// ZRLE once more, a pixel at a time and as plainly as can be, to compare with.
NaivePixels naiveZRLE(std::span<const std::uint8_t> data, int width, int height);

} // namespace test
