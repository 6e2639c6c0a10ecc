#include "rfb/ZRLE.h"
#include "rfb/RFBError.h"
#include "support/NaiveZRLE.h"
#include "support/Wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
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

/// Bytes of data as often valid as not: tiles of every kind for a rectangle of that size.
class RandomTiles {
public:
    explicit RandomTiles(unsigned seed) : random(seed) {}

    int below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

    Bytes rectangle(int width, int height) {
        Wire wire;
        for (int y = 0; y < height; y += 64)
            for (int x = 0; x < width; x += 64)
                tile(wire, std::min(64, width - x), std::min(64, height - y));
        return wire;
    }

    void mutate(Bytes& data) {
        for (int count = below(3); count > 0 && !data.empty(); --count)
            data[static_cast<std::size_t>(below(static_cast<int>(data.size())))] =
                static_cast<std::uint8_t>(below(256));
        if (below(3) == 0)
            data.resize(static_cast<std::size_t>(below(static_cast<int>(data.size()) + 1)));
    }

private:
    void noise(Wire& wire, int count) {
        for (; count > 0; --count)
            wire.u8(below(256));
    }

    void runLength(Wire& wire, int length) {
        for (--length; length >= 255; length -= 255)
            wire.u8(255);
        wire.u8(length);
    }

    /// In one tile of ten an index may be the first beyond its palette.
    int indices(int size) { return size + (below(10) == 0 ? 1 : 0); }

    void packed(Wire& wire, int size, int width, int height) {
        wire.u8(size);
        noise(wire, size * 3);
        const int bits = size == 2 ? 1 : size <= 4 ? 2 : 4;
        const int limit = std::min(indices(size), 1 << bits);
        for (int y = 0; y < height; ++y) {
            int pending = 0;
            for (int x = 0; x < width; ++x) {
                pending |= below(limit) << (8 - bits - x * bits % 8);
                if ((x + 1) * bits % 8 == 0)
                    wire.u8(std::exchange(pending, 0));
            }
            // The bits that belong to no pixel may be anything.
            if (width * bits % 8 != 0)
                wire.u8(pending | below(1 << (8 - width * bits % 8)));
        }
    }

    void runs(Wire& wire, int size, int area) {
        wire.u8(128 + size);
        noise(wire, size * 3);
        const int limit = std::min(indices(size), 128);
        while (area > 0) {
            const int length = 1 + below(below(4) == 0 ? 3000 : 12);
            const bool single = size > 0 && length == 1;
            if (size == 0)
                noise(wire, 3);
            else
                wire.u8(below(limit) + (single ? 0 : 128));
            if (!single)
                runLength(wire, length);
            area -= length;
        }
    }

    void tile(Wire& wire, int width, int height) {
        switch (below(6)) {
        case 0:
            wire.u8(0);
            return noise(wire, width * height * 3);
        case 1:
            wire.u8(1);
            return noise(wire, 3);
        case 2:
            return packed(wire, 2, width, height);
        case 3:
            return packed(wire, 2 + below(15), width, height);
        case 4:
            return runs(wire, 0, width * height);
        default:
            return runs(wire, 2 + below(126), width * height);
        }
    }

    std::mt19937 random;
};

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

TEST(ZRLE, AgreesWithANaiveDecoder) {
    RandomTiles tiles(21);
    int refused = 0;
    const auto agrees = [&](const Bytes& data, int width, int height) {
        const auto ours = decoded(data, width, height);
        const auto naive = test::naiveZRLE(data, width, height);
        refused += ours.failure.empty() ? 0 : 1;
        return ours.failure == naive.failure && ours.pixels == naive.pixels;
    };
    for (int round = 0; round < 6000; ++round) {
        const int width = 1 + tiles.below(150);
        const int height = 1 + tiles.below(round % 10 == 0 ? 140 : 20);
        auto data = tiles.rectangle(width, height);
        if (round % 2 == 1)
            tiles.mutate(data);
        ASSERT_TRUE(agrees(data, width, height)) << "round " << round;
    }
    EXPECT_GT(refused, 500);
    for (int subencoding = 0; subencoding < 256; ++subencoding)
        EXPECT_TRUE(agrees(Wire().u8(subencoding).zeros(1000), 3, 2)) << subencoding;
    EXPECT_TRUE(agrees({}, 0, 5) && agrees({}, 5, 0) && agrees({}, 1, 1));
}
