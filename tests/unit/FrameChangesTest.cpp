#include "platform/picture/BlockMap.h"
#include "platform/picture/CursorPainter.h"
#include "platform/picture/DirtyBlocks.h"
#include "platform/picture/FrameHistory.h"

#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <random>

using namespace platform::picture;

namespace {

/// How often each pixel is inside one of the areas. Fails the test if one is outside the picture.
std::vector<int> coverage(const std::vector<Area>& areas, int width, int height) {
    std::vector<int> count(static_cast<std::size_t>(width * height));
    for (const auto& area : areas) {
        EXPECT_EQ(intersection(area, {0, 0, width, height}), area);
        for (int y = area.y; y < area.bottom(); ++y)
            for (int x = area.x; x < area.right(); ++x)
                ++count.at(static_cast<std::size_t>(y * width + x));
    }
    return count;
}

std::vector<Area> cover(const BlockMap& map, std::size_t limit) {
    std::vector<Area> areas;
    map.cover(areas, limit);
    return areas;
}

/// A picture whose pixels are their own numbers.
std::vector<std::uint32_t> numbered(int width, int height) {
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width * height));
    std::iota(pixels.begin(), pixels.end(), 0xFF000000U);
    return pixels;
}

MutableFrameView canvas(std::vector<std::uint32_t>& pixels, int width, int height) {
    return {reinterpret_cast<std::uint8_t*>(pixels.data()), width * 4, width, height};
}

} // namespace

TEST(BlockMap, NeverMoreAreasThanAllowedAndNeverAMarkedPixelLeftOutOrCoveredTwice) {
    constexpr int width = 333;
    constexpr int height = 250;
    std::mt19937 random(7);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    for (int round = 0; round < 60; ++round) {
        BlockMap map(width, height);
        std::vector<Area> marked;
        for (int number = 0; number <= round; ++number) {
            marked.push_back(
                {below(width + 20) - 10, below(height + 20) - 10, below(20), below(20)});
            map.mark(marked.back()); // Partly outside.
            marked.back() = intersection(marked.back(), {0, 0, width, height});
        }
        for (const std::size_t limit : {1U, 4U, 20U, 1000U}) {
            const auto areas = cover(map, limit);
            EXPECT_LE(areas.size(), limit);
            const auto covered = coverage(areas, width, height);
            const auto wanted = coverage(marked, width, height);
            for (std::size_t pixel = 0; pixel < covered.size(); ++pixel) {
                ASSERT_LE(covered[pixel], 1);
                ASSERT_TRUE(wanted[pixel] == 0 || covered[pixel] == 1);
            }
        }
        const auto covered = coverage(cover(map, 1000), width, height);
        EXPECT_LE(std::ranges::count(covered, 1), std::ranges::count(map.bytes(), 1) * 256);
    }
}

TEST(Areas, SubtractingAHoleLeavesTheRestWithoutOverlaps) {
    std::vector<Area> areas{{0, 0, 20, 20}, {20, 0, 5, 5}, {30, 30, 5, 5}};
    subtract(areas, {5, -3, 17, 13});
    subtract(areas, {28, 28, 10, 10});
    auto expected = coverage({{0, 0, 20, 20}, {20, 0, 5, 5}}, 40, 40);
    for (int y = 0; y < 10; ++y)
        for (int x = 5; x < 22; ++x)
            expected[static_cast<std::size_t>(y * 40 + x)] = 0;
    EXPECT_EQ(coverage(areas, 40, 40), expected);
}

TEST(DirtyBlocks, MarksTheBlocksThatDifferInsideTheAreaAndTakesThem) {
    constexpr int width = 70;
    constexpr int height = 40;
    const auto fresh = numbered(width, height);
    auto known = fresh;
    known[5 * width + 33] ^= 1;  // block 2, 0
    known[39 * width + 69] ^= 1; // block 4, 2, which is cut off by both edges
    known[20 * width + 3] ^= 1;  // left of the area
    const Area area{7, 2, 63, 38};
    const auto at = [&](const std::vector<std::uint32_t>& pixels) {
        return reinterpret_cast<const std::uint8_t*>(&pixels[area.y * width + area.x]);
    };
    BlockMap changed(width, height);
    findDirtyBlocks(at(fresh), width * 4, at(known), width * 4, area, changed);
    EXPECT_EQ(cover(changed, 9), (std::vector<Area>{{32, 0, 16, 16}, {64, 32, 6, 8}}));

    auto taken = known;
    copyBlocks(at(fresh), width * 4,
               reinterpret_cast<std::uint8_t*>(&taken[area.y * width + area.x]), width * 4, area,
               changed);
    auto expected = fresh;
    expected[20 * width + 3] = known[20 * width + 3];
    EXPECT_EQ(taken, expected);
}

TEST(FrameHistory, TellsWhatAnOlderPictureLacks) {
    FrameHistory history;
    const auto only = [](int column) {
        BlockMap map(16 * 20, 16);
        map.markBlock(column, 0);
        return map;
    };
    const auto since = [&](std::uint64_t serial) {
        BlockMap stale(16 * 20, 16);
        history.addChangesSince(serial, stale);
        return cover(stale, 99);
    };
    const std::vector<Area> everything{{0, 0, 320, 16}};
    EXPECT_EQ(since(0), everything) << "memory that never held a picture";
    EXPECT_EQ(history.last(), 0u);
    for (int number = 1; number <= 12; ++number)
        history.record(static_cast<std::uint64_t>(100 + number), only(number));
    EXPECT_EQ(history.last(), 112u);
    EXPECT_TRUE(since(112).empty());
    EXPECT_EQ(since(110), (std::vector<Area>{{11 * 16, 0, 32, 16}}));
    EXPECT_EQ(since(102), everything) << "too long ago to know";
    EXPECT_EQ(since(7), everything) << "a picture of another stream";
    EXPECT_EQ(since(0), everything);
}

TEST(CursorPainter, BlendsPremultipliedPixelsAndRestoresWhatWasBelow) {
    std::vector<std::uint32_t> pixels(4, 0xFF204060);
    const auto picture = canvas(pixels, 2, 2);
    const CursorImage image{
        .width = 2, .height = 2, .pixels = {0xFF123456, 0x00000000, 0x80400000, 0x80FFFFFF}};
    CursorPainter painter;
    painter.paint(picture, image, 0, 0);
    EXPECT_EQ(pixels[0], 0xFF123456u) << "opaque";
    EXPECT_EQ(pixels[1], 0xFF204060u) << "transparent";
    EXPECT_EQ(pixels[2], 0xFF502030u) << "half: 0x40 + 0x20 * 127 / 255";
    EXPECT_EQ(pixels[3], 0xFFFFFFFFu) << "not premultiplied, as some programs have it";
    painter.erase(picture);
    EXPECT_EQ(pixels, std::vector<std::uint32_t>(4, 0xFF204060));
}

TEST(CursorPainter, CutsOffWhatIsOutsideOnEverySide) {
    constexpr int size = 5;
    const auto image = CursorImage{.width = 3, .height = 3, .pixels = numbered(3, 3)};
    for (int y = -4; y <= size + 1; ++y)
        for (int x = -4; x <= size + 1; ++x) {
            std::vector<std::uint32_t> pixels(size * size, 0xFF808080);
            auto expected = pixels;
            for (int row = 0; row < 3; ++row)
                for (int column = 0; column < 3; ++column)
                    if (x + column >= 0 && x + column < size && y + row >= 0 && y + row < size)
                        expected[static_cast<std::size_t>((y + row) * size + x + column)] =
                            image.pixels[static_cast<std::size_t>(row * 3 + column)];
            CursorPainter painter;
            painter.paint(canvas(pixels, size, size), image, x, y);
            ASSERT_EQ(pixels, expected) << x << ", " << y;
            painter.erase(canvas(pixels, size, size));
            ASSERT_EQ(pixels, std::vector<std::uint32_t>(size * size, 0xFF808080));
        }
}
