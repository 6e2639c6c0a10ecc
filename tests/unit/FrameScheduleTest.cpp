#include "platform/decisions/FrameSchedule.h"

#include <gtest/gtest.h>

using namespace platform;
using namespace std::chrono_literals;
using Step = FrameSchedule::Step;

namespace {
MediaTime at(std::chrono::nanoseconds time) {
    return MediaTime{} + time;
}
} // namespace

TEST(FrameSchedule, LooksThatBeginALittleLateKeepTheRateAllTheSame) {
    FrameSchedule schedule(10ms, {});
    MediaTime now;
    for (int frame = 0; frame <= 100; ++frame) {
        now = *schedule.next(true).due + 1ms;
        schedule.startLook(now);
        schedule.endLook(now, false);
    }
    EXPECT_EQ(now, at(1001ms));
    schedule.startLook(now + 60s);
    EXPECT_EQ(*schedule.next(true).due, now + 60s + 10ms) << "what is long late is made up for";
    EXPECT_FALSE(schedule.next(true).eventsMatter) << "they wake the thread for nothing";
    EXPECT_FALSE(schedule.next(false).due) << "a still screen is looked at";
    EXPECT_TRUE(schedule.next(false).eventsMatter);
}

TEST(FrameSchedule, LooksAtEverythingAgainSoonerWhereReportsWereLostAndLaterWhereItIsSlow) {
    FrameSchedule schedule(10ms, {.areReliable = false});
    MediaTime now;
    struct Look {
        bool everything, foundUnreported;
        std::chrono::milliseconds cost, pause; // Until the next one.
    };
    for (const auto& [everything, foundUnreported, cost, pause] : {Look{false, false, 1ms, 2s},
                                                                   {true, true, 1ms, 250ms},
                                                                   {true, true, 1ms, 250ms},
                                                                   {true, false, 1ms, 500ms},
                                                                   {true, false, 1ms, 1s},
                                                                   {true, false, 1ms, 2s},
                                                                   {true, false, 1ms, -1ms},
                                                                   {false, false, 1ms, 2s},
                                                                   {true, true, 600ms, 30s}}) {
        EXPECT_EQ(schedule.startLook(now), everything);
        schedule.endLook(now + cost, foundUnreported);
        const auto due = schedule.next(false).due;
        EXPECT_EQ(due ? *due - (now + cost) : -1ms, pause);
        now = due.value_or(now + cost);
    }
}

TEST(FrameSchedule, AsksForAPointerThatNobodyReportsUntilTheNextLookIsDue) {
    FrameSchedule schedule(10ms, {.areReliable = false, .pointerMoves = false});
    schedule.startLook(at(0s));
    schedule.endLook(at(0s), false);
    for (auto time = 150ms; time < 2s; time += 150ms) {
        EXPECT_TRUE(schedule.next(false).step == Step::askForPointer);
        EXPECT_EQ(*schedule.next(false).due, at(time));
        schedule.askedForPointer(at(time));
    }
    EXPECT_EQ(*schedule.next(false).due, at(2s));
}

TEST(FrameSchedule, GivesUpWhenTheScreenCouldNotBeHadForAWhile) {
    FrameSchedule schedule(1s, {});
    schedule.startLook(at(1s));
    schedule.failLook(at(1s));
    EXPECT_TRUE(schedule.next(false).step == Step::look);
    schedule.setScreenIsThere(false, at(2s));
    EXPECT_EQ(*schedule.next(true).due, at(4s)) << "since the first failure";
    schedule.setScreenIsThere(true, at(3s));
    schedule.startLook(at(3s));
    EXPECT_TRUE(schedule.next(true).step == Step::giveUp);
    schedule.endLook(at(3s), false);
    EXPECT_TRUE(schedule.next(true).step == Step::look) << "it is there again";
}
