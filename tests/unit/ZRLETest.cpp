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

constexpr const char* shortData = "The remote desktop sent short ZRLE data.";
constexpr const char* badPalette = "The remote desktop sent a bad ZRLE palette.";
constexpr const char* unreadTile = "The remote desktop sent a ZRLE tile this client does not read.";

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

/// The blue of each pixel. Tests that use it have green and red follow from it, see `color`.
Bytes blues(const Bytes& data, int width, int height) {
    const auto [pixels, failure] = decoded(data, width, height);
    EXPECT_EQ(failure, "");
    EXPECT_EQ(pixels.size(), static_cast<std::size_t>(width * height) * 4);
    Bytes result;
    for (std::size_t at = 0; at < pixels.size(); at += 4) {
        result.push_back(pixels[at]);
        EXPECT_EQ(pixels[at + 1], static_cast<std::uint8_t>(pixels[at] + 50));
        EXPECT_EQ(pixels[at + 2], static_cast<std::uint8_t>(pixels[at] + 100));
        EXPECT_EQ(pixels[at + 3], 255);
    }
    return result;
}

Bytes color(int blue) {
    return Wire().u8(blue).u8(blue + 50).u8(blue + 100);
}

Wire palette(int size) {
    Wire wire;
    for (int index = 0; index < size; ++index)
        wire.append(color(index));
    return wire;
}

/// A solid tile, to see that the one before it was read to its end and no further.
Bytes solid(int blue) {
    return Wire().u8(1).append(color(blue));
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

    void packed(Wire& wire, int size, int width, int height) {
        wire.u8(size);
        noise(wire, size * 3);
        const int bits = size == 2 ? 1 : size <= 4 ? 2 : 4;
        for (int y = 0; y < height; ++y) {
            int pending = 0;
            for (int x = 0; x < width; ++x) {
                pending |= below(size) << (8 - bits - x * bits % 8);
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
        while (area > 0) {
            const int length = 1 + below(below(4) == 0 ? 3000 : 12);
            const bool single = size > 0 && length == 1;
            if (size == 0)
                noise(wire, 3);
            else
                wire.u8(below(size) + (single ? 0 : 128));
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

TEST(ZRLE, WithoutAnAreaNothingIsRead) {
    EXPECT_TRUE(decoded({}, 0, 5).pixels.empty());
    EXPECT_EQ(decoded({}, 5, 0).failure, "");
    EXPECT_EQ(decoded({}, 1, 1).failure, shortData);
}

TEST(ZRLE, TilesGoFromLeftToRightAndThenDown) {
    Wire wire;
    for (int tile = 1; tile <= 6; ++tile)
        wire.append(solid(tile));
    const auto pixels = blues(wire.text("whatever follows"), 130, 65);
    const auto at = [&](std::size_t x, std::size_t y) { return pixels[y * 130 + x]; };
    EXPECT_EQ((Bytes{at(0, 0), at(63, 63), at(64, 0), at(127, 63), at(128, 0), at(129, 63)}),
              (Bytes{1, 1, 2, 2, 3, 3}));
    EXPECT_EQ((Bytes{at(0, 64), at(63, 64), at(64, 64), at(127, 64), at(128, 64), at(129, 64)}),
              (Bytes{4, 4, 5, 5, 6, 6}));
}

TEST(ZRLE, PackedPalettesOfEverySizeUseEveryIndex) {
    for (int size = 2; size <= 16; ++size) {
        const int bits = size == 2 ? 1 : size <= 4 ? 2 : 4;
        for (const int width : {1, 3, 10, 63, 64}) {
            auto wire = Wire().u8(size).append(palette(size).bytes);
            Bytes expected;
            for (int y = 0; y < 3; ++y) {
                Bytes row(static_cast<std::size_t>((width * bits + 7) / 8));
                for (int x = 0; x < width; ++x) {
                    const int index = (x + y) % size;
                    row[static_cast<std::size_t>(x * bits / 8)] |=
                        static_cast<std::uint8_t>(index << (8 - bits - x * bits % 8));
                    expected.push_back(static_cast<std::uint8_t>(index));
                }
                wire.append(row);
            }
            EXPECT_EQ(blues(wire, width, 3), expected) << size << " colors, width " << width;
        }
    }
}

TEST(ZRLE, AnIndexBeyondThePaletteIsRefusedUnlessNoPixelUsesIt) {
    const auto tile = [](int size, const Bytes& indices) {
        return Bytes(Wire().u8(size).append(palette(size).bytes).append(indices));
    };
    EXPECT_EQ(decoded(tile(3, {0b00'11'00'00}), 4, 1).failure, badPalette);
    EXPECT_EQ(decoded(tile(3, {0b00'01'10'11}), 4, 1).failure, badPalette);
    EXPECT_EQ(decoded(tile(3, {0b00'01'10'11}), 3, 1).failure, "");
    EXPECT_EQ(decoded(tile(5, {0x45}), 2, 1).failure, badPalette);
    EXPECT_EQ(decoded(tile(5, {0x45}), 1, 1).failure, "");
    EXPECT_EQ(decoded(tile(15, {0x0f}), 2, 1).failure, badPalette);
    // Whatever is wrong first counts.
    EXPECT_EQ(decoded(tile(5, {0x00, 0x50}), 4, 2).failure, badPalette);
    EXPECT_EQ(decoded(tile(5, {0x00, 0x00, 0x04}), 4, 2).failure, shortData);
}

TEST(ZRLE, RunLengthsAddUpAndAreCutAtTheEndOfTheTile) {
    const auto run = [](const Bytes& lengths) {
        auto wire = Wire().u8(128).append(color(7)).append(lengths);
        wire.append(color(9)).append(Bytes{255, 255, 255, 255, 255, 255, 0});
        return blues(wire.append(solid(3)), 65, 20);
    };
    for (const auto& [lengths, expected] : {std::pair{Bytes{0}, 1},
                                            {Bytes{254}, 255},
                                            {Bytes{255, 0}, 256},
                                            {Bytes{255, 255, 3}, 514}}) {
        const auto pixels = run(lengths);
        EXPECT_EQ(std::ranges::count(pixels, 7), expected);
        EXPECT_EQ(std::ranges::count(pixels, 3), 20) << "the next tile";
        // In row order from the first pixel on.
        const auto last = static_cast<std::size_t>(expected - 1);
        EXPECT_EQ(pixels[last / 64 * 65 + last % 64], 7);
        EXPECT_EQ(pixels[(last + 1) / 64 * 65 + (last + 1) % 64], 9);
    }
}

TEST(ZRLE, PaletteRunsAreSinglePixelsOrRuns) {
    const auto largest = Wire().u8(255).append(palette(127).bytes);
    EXPECT_EQ(blues(Wire(largest).append(Bytes{126, 128 + 3, 1, 0, 128, 0}), 5, 1),
              (Bytes{126, 3, 3, 0, 0}));

    const auto tile = Wire().u8(130).append(palette(2).bytes);
    const auto failure = [&](const Bytes& codes) {
        return decoded(Wire(tile).append(codes), 2, 2).failure;
    };
    EXPECT_EQ(failure({2}), badPalette);
    EXPECT_EQ(failure({130, 0}), badPalette);
    EXPECT_EQ(failure({130}), shortData) << "the length comes before the index is judged";
    EXPECT_EQ(failure({130, 255}), shortData);
}

TEST(ZRLE, OtherSubencodingsAreNotRead) {
    for (int subencoding = 17; subencoding <= 129; ++subencoding)
        EXPECT_EQ(decoded(Wire().u8(subencoding).zeros(1000), 1, 1).failure,
                  subencoding == 128 ? "" : unreadTile)
            << subencoding;
}

TEST(ZRLE, EveryCutIsNoticed) {
    RandomTiles tiles(20);
    for (int round = 0; round < 40; ++round) {
        const auto data = tiles.rectangle(70, 9);
        ASSERT_EQ(decoded(data, 70, 9).failure, "");
        for (std::size_t cut = 0; cut < data.size(); cut += 1 + data.size() / 100)
            ASSERT_EQ(
                decoded({data.begin(), data.begin() + static_cast<std::ptrdiff_t>(cut)}, 70, 9)
                    .failure,
                shortData);
    }
}

TEST(ZRLE, AgreesWithANaiveDecoder) {
    RandomTiles tiles(21);
    int refused = 0;
    for (int round = 0; round < 6000; ++round) {
        const int width = 1 + tiles.below(150);
        const int height = 1 + tiles.below(round % 10 == 0 ? 140 : 20);
        auto data = tiles.rectangle(width, height);
        if (round % 2 == 1)
            tiles.mutate(data);
        const auto ours = decoded(data, width, height);
        const auto naive = test::naiveZRLE(data, width, height);
        ASSERT_EQ(ours.failure, naive.failure) << "round " << round;
        ASSERT_EQ(ours.pixels, naive.pixels) << "round " << round;
        refused += ours.failure.empty() ? 0 : 1;
    }
    EXPECT_GT(refused, 500);
}
