#include "rfb/Framebuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

using namespace orvel;
using platform::Area;

namespace {

using Pixels = std::vector<std::uint8_t>;

Pixels pixelsOf(const Framebuffer& framebuffer) {
    const auto view = framebuffer.view();
    return {view.data, view.data + view.bytesPerRow * view.height};
}

} // namespace

TEST(Framebuffer, KnowsWhatFitsInside) {
    const Framebuffer framebuffer(10, 8);
    constexpr int max = std::numeric_limits<int>::max();
    EXPECT_TRUE(framebuffer.clipped({0, 0, 10, 8}));
    EXPECT_TRUE(framebuffer.clipped({10, 8, 0, 0}));
    for (const Area& area : {Area{-1, 0, 1, 1},
                             {0, -1, 1, 1},
                             {0, 0, -1, 1},
                             {0, 0, 1, -1},
                             {1, 0, 10, 1},
                             {0, 1, 1, 8},
                             {max, 0, max, 1},
                             {0, max, 1, max}})
        EXPECT_FALSE(framebuffer.clipped(area)) << area.x << " " << area.y;
}

TEST(Framebuffer, DrawsAsFromASnapshotWhatFitsOrNothingAtAll) {
    std::mt19937 random(3);
    constexpr int side = 12;
    Framebuffer framebuffer(side, side);
    for (int round = 0; round < 4000; ++round) {
        const auto pick = [&](int limit) { return static_cast<int>(random() % limit); };
        // Now and then a little beyond the edges.
        const int fromX = pick(side + 1), fromY = pick(side + 1);
        const Area to{pick(side + 1), pick(side + 1), pick(side), pick(side)};
        const bool copies = round % 2 == 1;
        Pixels source(static_cast<std::size_t>(to.width) * to.height * 4);
        std::ranges::generate(source, [&] { return static_cast<std::uint8_t>(random()); });
        const bool isShort = !copies && round % 10 == 0 && !source.empty();
        if (isShort)
            source.pop_back();
        auto expected = pixelsOf(framebuffer);
        const auto before = expected;
        const bool fits = framebuffer.clipped(to) && !isShort &&
                          (!copies || framebuffer.clipped({fromX, fromY, to.width, to.height}));
        for (int at = 0; fits && at < to.width * to.height * 4; ++at) {
            const int x = at % (to.width * 4), y = at / (to.width * 4);
            expected[((to.y + y) * side + to.x) * 4 + x] =
                copies ? before[((fromY + y) * side + fromX) * 4 + x] : source[at];
        }
        copies ? framebuffer.copy(fromX, fromY, to) : framebuffer.put(to, source);
        ASSERT_EQ(pixelsOf(framebuffer), expected);
    }
    framebuffer.resize(3, 7);
    EXPECT_EQ(framebuffer.size(), (Framebuffer::Size{3, 7}));
    EXPECT_EQ(pixelsOf(framebuffer), Pixels(84));
}
