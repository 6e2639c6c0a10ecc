#include "platform/h264/BitBudget.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace platform;
using namespace std::chrono_literals;
using h264::BitBudget;

namespace {

constexpr MediaTime at(std::chrono::milliseconds time) {
    return MediaTime{} + 1h + time;
}

constexpr std::int64_t rate = 1'000'000;

} // namespace

TEST(BitBudget, AKeyFrameMayTakeHalfASecondAtOnce) {
    BitBudget budget(rate);
    EXPECT_EQ(budget.allowance(at(0ms), true), rate / 2);
    budget.spend(rate / 2);
    EXPECT_LT(budget.allowance(at(1ms), true), rate / 50);
}

TEST(BitBudget, PicturesThatTakeAllTheyMayKeepTheAverage) {
    BitBudget budget(rate);
    std::vector<std::int64_t> taken;
    for (int i = 0; i < 150; ++i) { // Five seconds.
        taken.push_back(budget.allowance(at(i * 33ms), false));
        budget.spend(taken.back());
    }
    for (auto second = taken.begin(); taken.end() - second >= 30; ++second) {
        std::int64_t sum = 0;
        std::for_each(second, second + 30, [&](auto bits) { sum += bits; });
        EXPECT_LE(sum, rate * 3 / 2);
        EXPECT_GE(sum, rate * 9 / 10);
    }
}

TEST(BitBudget, WhatNoQuantiserTamesDoesNotStarveWhatFollows) {
    BitBudget budget(rate);
    for (int i = 0; i < 30; ++i) {
        budget.allowance(at(i * 33ms), false);
        budget.spend(10 * rate);
    }
    budget.allowance(at(2000ms), false);
    EXPECT_GE(budget.allowance(at(3000ms), false), rate / 4);
}
