#include "rfb/Framebuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

using namespace orvel;

namespace {

using Pixels = std::vector<std::uint8_t>;

Pixels numbered(int count) {
    Pixels pixels(static_cast<std::size_t>(count) * 4);
    for (std::size_t at = 0; at < pixels.size(); ++at)
        pixels[at] = static_cast<std::uint8_t>(at + 1);
    return pixels;
}

/// Where the byte of a pixel lies.
std::size_t offset(const Framebuffer& picture, int x, int y) {
    return static_cast<std::size_t>(y * picture.width + x) * 4;
}

} // namespace

TEST(Framebuffer, KnowsWhatFitsInside) {
    const Framebuffer picture(10, 8);
    constexpr int most = std::numeric_limits<int>::max();
    EXPECT_TRUE(picture.clipped(0, 0, 10, 8));
    EXPECT_TRUE(picture.clipped(10, 8, 0, 0));
    for (const auto& [x, y, w, h] : {std::array{-1, 0, 1, 1},
                                     {0, -1, 1, 1},
                                     {0, 0, -1, 1},
                                     {0, 0, 1, -1},
                                     {1, 0, 10, 1},
                                     {0, 1, 1, 8},
                                     {11, 0, 0, 1},
                                     {most, 0, most, 1},
                                     {0, most, 1, most}})
        EXPECT_FALSE(picture.clipped(x, y, w, h)) << x << " " << y << " " << w << " " << h;
}

TEST(Framebuffer, PutsRowsWhereTheyBelongOrNothingAtAll) {
    Framebuffer picture(10, 10);
    const auto block = numbered(6);
    picture.put(7, 8, 3, 2, block);
    for (std::size_t y = 0; y < 2; ++y)
        EXPECT_TRUE(std::ranges::equal(
            std::span(block).subspan(y * 12, 12),
            std::span(picture.pixels).subspan(offset(picture, 7, 8 + static_cast<int>(y)), 12)));
    EXPECT_EQ(std::ranges::count(picture.pixels, 0), 400 - 24);

    const auto before = picture.pixels;
    picture.put(1, 9, 10, 1, numbered(10));
    picture.put(0, 10, 10, 1, numbered(10));
    picture.put(-1, 0, 1, 1, numbered(1));
    picture.put(0, 0, 3, 2, std::span(block).first(block.size() - 4));
    picture.put(0, 0, 0, 4, {});
    picture.put(0, 0, 0, 2, block);
    EXPECT_EQ(picture.pixels, before);
}

TEST(Framebuffer, CopiesAsFromASnapshotHoweverTheRectanglesOverlap) {
    std::mt19937 random(3);
    constexpr int side = 12;
    for (int round = 0; round < 2000; ++round) {
        Framebuffer picture(side, side);
        std::ranges::generate(picture.pixels, [&] { return static_cast<std::uint8_t>(random()); });
        const auto snapshot = picture.pixels;
        const auto pick = [&](int limit) { return static_cast<int>(random() % limit); };
        // Now and then a little beyond the edges.
        const int fromX = pick(side + 1), fromY = pick(side + 1), x = pick(side + 1),
                  y = pick(side + 1), w = pick(side), h = pick(side);
        const bool fits = picture.clipped(fromX, fromY, w, h) && picture.clipped(x, y, w, h);
        picture.copy(fromX, fromY, x, y, w, h);
        auto expected = snapshot;
        for (int row = 0; fits && row < h; ++row)
            std::copy_n(
                snapshot.begin() + static_cast<std::ptrdiff_t>(offset(picture, fromX, fromY + row)),
                w * 4, expected.begin() + static_cast<std::ptrdiff_t>(offset(picture, x, y + row)));
        ASSERT_EQ(picture.pixels, expected);
    }
}

TEST(Framebuffer, ResizingDropsThePicture) {
    Framebuffer picture(4, 4);
    picture.put(0, 0, 4, 4, numbered(16));
    picture.resize(3, 7);
    EXPECT_EQ(picture.width, 3);
    EXPECT_EQ(picture.height, 7);
    EXPECT_EQ(picture.pixels, Pixels(84));
}
