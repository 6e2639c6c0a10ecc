#include "platform/media/RateWindow.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using namespace platform;
using namespace std::chrono_literals;
using media::RateWindow;

namespace {

constexpr MediaTime at(std::chrono::milliseconds time) {
    return MediaTime{} + time;
}

} // namespace

TEST(RateWindow, HasRoomOnceEnoughHasLeft) {
    RateWindow window;
    window.setLimit(1000, 1s);
    window.sent(at(0ms), 400);
    window.sent(at(300ms), 400);
    EXPECT_EQ(window.roomFor(200, at(300ms)), at(300ms));
    EXPECT_EQ(window.roomFor(201, at(300ms)), at(1000ms));
    EXPECT_EQ(window.roomFor(700, at(300ms)), at(1300ms));
    EXPECT_EQ(window.roomFor(600, at(1000ms)), at(1000ms)) << "a second is over at its end";
}

TEST(RateWindow, WhatIsTooLargeWaitsForAnEmptyWindow) {
    RateWindow window;
    window.setLimit(1000, 1s);
    EXPECT_EQ(window.roomFor(5000, at(0ms)), at(0ms));
    window.sent(at(0ms), 5000);
    window.sent(at(100ms), 1);
    EXPECT_EQ(window.roomFor(0, at(100ms)), at(1000ms))
        << "over the limit there is room for nothing";
    EXPECT_EQ(window.roomFor(5000, at(100ms)), at(1100ms));
}

TEST(RateWindow, ANewLimitCountsWhatWasSent) {
    RateWindow window;
    window.sent(at(0ms), 10);
    EXPECT_EQ(window.roomFor(1'000'000, at(0ms)), at(0ms)) << "there was no limit yet";
    window.setLimit(2000, 1s);
    window.sent(at(10ms), 1500);
    window.setLimit(1000, 1s);
    EXPECT_EQ(window.roomFor(100, at(20ms)), at(1010ms));
    window.setLimit(4000, 1s);
    EXPECT_EQ(window.roomFor(100, at(20ms)), at(20ms));
}

TEST(RateWindow, SendingAsSoonAsThereIsRoomNeverExceedsTheLimit) {
    std::mt19937 random(4);
    RateWindow window;
    window.setLimit(1000, 1s);
    struct Sent {
        MediaTime time;
        std::int64_t bytes;
    };
    std::vector<Sent> all;
    auto now = at(0ms);
    for (int i = 0; i < 500; ++i) {
        const std::int64_t bytes = 1 + random() % 400;
        now = window.roomFor(bytes, now + std::chrono::milliseconds(random() % 60));
        window.sent(now, bytes);
        all.push_back({now, bytes});
        std::int64_t inWindow = 0;
        for (const auto& entry : all)
            if (entry.time + 1s > now)
                inWindow += entry.bytes;
        ASSERT_LE(inWindow, 1000);
    }
    EXPECT_LT(now, at(500 * 300ms)) << "it held back more than it had to";
}
