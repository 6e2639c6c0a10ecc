#include "platform/h264/RateWindow.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using namespace platform;
using namespace std::chrono_literals;
using h264::RateWindow;

namespace {

constexpr MediaTime at(std::chrono::milliseconds time) {
    return MediaTime{} + time;
}

} // namespace

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

TEST(RateWindow, FindsTheFirstMomentThatKeepsTheLimit) {
    std::mt19937 random(4);
    RateWindow window;
    window.setLimit(1000, 1s);
    struct Sent {
        MediaTime time;
        std::int64_t bytes;
    };
    std::vector<Sent> all;
    const auto sentBefore = [&](MediaTime now) {
        std::int64_t sum = 0;
        for (const auto& entry : all)
            if (entry.time + 1s > now)
                sum += entry.bytes;
        return sum;
    };
    auto now = at(0ms);
    for (int i = 0; i < 500; ++i) {
        const std::int64_t bytes = 1 + random() % 400;
        const auto wanted = now + std::chrono::milliseconds(random() % 60);
        now = window.roomFor(bytes, wanted);
        ASSERT_LE(sentBefore(now) + bytes, 1000);
        const bool asWanted = now == wanted;
        ASSERT_TRUE(asWanted || sentBefore(now + -1ns) + bytes > 1000) << "held longer than needed";
        window.sent(now, bytes);
        all.push_back({now, bytes});
    }
}
