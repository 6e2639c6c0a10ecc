#include "rfb/ZRLE.h"
#include "rfb/RFBError.h"
#include "support/NaiveZRLE.h"
#include "support/Wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace orvel;
using test::Wire;

namespace {

using Bytes = std::vector<std::uint8_t>;

test::NaivePixels decoded(const Bytes& data, int width, int height) {
    // In memory that ends where the data ends, so that reading beyond it shows.
    const auto exact = std::make_unique<std::uint8_t[]>(data.size());
    std::ranges::copy(data, exact.get());
    Scratch<std::uint32_t> scratch;
    Bytes pixels;
    try {
        zrleDecode({exact.get(), data.size()}, width, height, scratch,
                   [&](int y, int count, std::span<const std::uint8_t> rows) {
                       const auto rowSize = static_cast<std::size_t>(width) * 4;
                       EXPECT_EQ(pixels.size(), static_cast<std::size_t>(y) * rowSize);
                       EXPECT_EQ(rows.size(), static_cast<std::size_t>(count) * rowSize);
                       pixels.insert(pixels.end(), rows.begin(), rows.end());
                   });
        return {pixels, ""};
    } catch (const RFBError& error) {
        EXPECT_EQ(error.code(), "remote_protocol");
        return {{}, error.message()};
    }
}

} // namespace

TEST(ZRLE, ReadsTilesWrittenByHand) {
    const auto shades = [](const Wire& tiles, int width, int height) {
        Bytes blues;
        const auto pixels = decoded(tiles, width, height).pixels;
        for (std::size_t at = 0; at < pixels.size(); at += 4)
            blues.push_back(pixels[at]);
        return blues;
    };
    const auto gray = [](int shade) { return Wire().u8(shade).u8(shade).u8(shade).bytes; };
    const auto three = [&](int subencoding) {
        return Wire().u8(subencoding).append(gray(5)).append(gray(6)).append(gray(7));
    };
    EXPECT_EQ(decoded(Wire().u8(1).u8(10).u8(20).u8(30), 1, 1).pixels, (Bytes{10, 20, 30, 255}));
    EXPECT_EQ(shades(three(0), 3, 1), (Bytes{5, 6, 7}));
    EXPECT_EQ(shades(three(3).u8(0b00'01'10'00).u8(0b10'01'00'11), 3, 2),
              (Bytes{5, 6, 7, 7, 6, 5}));
    EXPECT_EQ(shades(Wire().u8(128).append(gray(5)).u8(3).append(gray(6)).u8(1), 3, 2),
              (Bytes{5, 5, 5, 5, 6, 6}));
    EXPECT_EQ(shades(three(131).u8(2).u8(128).u8(3).u8(1), 3, 2), (Bytes{7, 5, 5, 5, 5, 6}));

    Wire tiles;
    for (int tile = 1; tile <= 6; ++tile)
        tiles.u8(1).append(gray(tile));
    const auto pixels = shades(tiles, 130, 65);
    const auto at = [&](std::size_t x, std::size_t y) { return pixels.at(y * 130 + x); };
    EXPECT_EQ((Bytes{at(63, 63), at(64, 0), at(128, 63), at(0, 64), at(127, 64), at(129, 64)}),
              (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(ZRLE, AgreesWithANaiveDecoderOnTilesOfEveryKind) {
    std::mt19937 random(21);
    int refused = 0;
    for (int subencoding = 0; subencoding < 256; ++subencoding)
        for (const auto& [width, height] : {std::pair{3, 2}, {9, 65}, {70, 1}, {0, 5}})
            for (const unsigned largest : {1u, 7u, 255u}) {
                // Small values are indices that palettes have, and short runs.
                auto data = Wire().u8(subencoding).zeros(random() % 700).bytes;
                for (std::size_t at = 1; at < data.size(); ++at)
                    data[at] = static_cast<std::uint8_t>(random() % (largest + 1));
                const auto ours = decoded(data, width, height);
                const auto naive = test::naiveZRLE(data, width, height);
                refused += ours.failure.empty() ? 0 : 1;
                EXPECT_EQ(ours.failure, naive.failure) << subencoding;
                EXPECT_EQ(ours.pixels, naive.pixels) << subencoding;
            }
    EXPECT_GT(refused, 500);
}
