#include "rfb/Framebuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

using namespace orvel;

namespace {

using Pixels = std::vector<std::uint8_t>;

Pixels pixelsOf(const Framebuffer& framebuffer) {
    const auto view = framebuffer.view();
    return {view.data, view.data + view.bytesPerRow * view.height};
}

} // namespace

TEST(Framebuffer, DrawsAsFromASnapshotWhatFitsOrNothingAtAll) {
    std::mt19937 random(3);
    constexpr int side = 12;
    Framebuffer framebuffer(side, side);
    for (int round = 0; round < 4000; ++round) {
        // Now and then a little beyond the edges.
        const auto pick = [&] { return static_cast<int>(random() % (side + 3)) - 1; };
        const int fromX = pick(), fromY = pick();
        const platform::Area to{pick(), pick(), pick(), pick()};
        const int bytes = 4 * std::max(to.width, 0) * std::max(to.height, 0);
        Pixels source(static_cast<std::size_t>(bytes) + random() % 3);
        std::ranges::generate(source, std::ref(random));
        const bool copies = random() % 2 == 0;
        const auto inside = [&](int x, int y) {
            return x >= 0 && y >= 0 && x + to.width <= side && y + to.height <= side;
        };
        const bool fits = to.width >= 0 && to.height >= 0 && inside(to.x, to.y) &&
                          (!copies || inside(fromX, fromY));
        if (!copies && bytes > 0 && random() % 9 == 0)
            source.resize(static_cast<std::size_t>(bytes) - 1);
        auto expected = pixelsOf(framebuffer);
        const auto before = expected;
        for (int at = 0; fits && std::ssize(source) >= bytes && at < bytes; ++at) {
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
