#include "platform/h264/FramePlanner.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <random>

using namespace platform;
using h264::FramePlanner;

namespace {

constexpr int width = 320, height = 240;
constexpr std::int64_t plenty = 100'000'000;

/// Lines of something like text, of which every one is different.
ImageBuffer page(int scrolled, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint32_t> shades(width * 4 * height);
    for (auto& shade : shades)
        shade = random() % 2 * 0xffffff;
    return test::painted(width, height, [&](int x, int y) {
        return shades[static_cast<std::size_t>((y + 2 * height + scrolled) * width + x)];
    });
}

/// Plans the frame and has it take what was foreseen or `bits`.
h264::FramePlan encode(FramePlanner& planner, const ImageBuffer& frame, bool key = false,
                       std::int64_t maxBits = plenty, std::int64_t bits = 1'000'000) {
    planner.follow(frame);
    const auto plan = planner.plan(key, maxBits);
    planner.encoded(bits);
    return plan;
}

} // namespace

TEST(FramePlanner, TheSearchReachesWhereContentsCameFromAndElseStaysNear) {
    FramePlanner planner(width, height);
    encode(planner, page(0, 1), true);
    EXPECT_EQ(encode(planner, page(45, 1)).searchRows, 45);
    EXPECT_EQ(encode(planner, page(90, 1)).searchRows, 0) << "as far as before";
    EXPECT_EQ(encode(planner, page(13, 1)).searchRows, 77);
    EXPECT_EQ(encode(planner, page(-32, 1)).searchRows, 45);
    EXPECT_EQ(encode(planner, page(0, 2)).searchRows, 0) << "another page";
    const auto back = encode(planner, page(5, 1));
    EXPECT_EQ(back.searchRows, 37) << "the page before that one";
    EXPECT_EQ(back.references, 2);
    EXPECT_EQ(encode(planner, page(9, 1)).references, 1);
    EXPECT_EQ(encode(planner, page(10, 1), true).searchRows, 0) << "a key frame forgets";
    EXPECT_EQ(encode(planner, page(0, 2)).references, 1);
}

TEST(FramePlanner, TheQuantiserKeepsFramesWithinTheirBitsAndSettlesOnAStillScreen) {
    FramePlanner planner(width, height);
    planner.setCoarsest(36);
    const auto first = page(0, 1);
    EXPECT_EQ(encode(planner, first, true, 1).quantiser, 36) << "coarser than eyes bear";
    EXPECT_EQ(encode(planner, page(30, 1), false, 50'000).quantiser, 36)
        << "what was moved is known, and refining it costs too much";
    const auto some = encode(planner, page(0, 2), false, 500'000).quantiser;
    EXPECT_GT(some, 18);
    EXPECT_LE(some, 36);
    const auto last = page(0, 3);
    EXPECT_EQ(encode(planner, last).quantiser, 18);
    EXPECT_EQ(encode(planner, last).quantiser, 18);
    EXPECT_TRUE(planner.isRefresh());
    EXPECT_EQ(encode(planner, last).quantiser, 12);
}

TEST(FramePlanner, ItLearnsWhatFramesTake) {
    FramePlanner planner(width, height);
    const auto planned = [&](std::int64_t bits) {
        int quantiser = 0;
        for (unsigned seed = 0; seed < 9; ++seed)
            quantiser = encode(planner, page(0, seed), false, 600'000, bits).quantiser;
        return quantiser;
    };
    EXPECT_GT(planned(1'200'000), planned(300'000));
}
