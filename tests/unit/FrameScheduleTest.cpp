#include "platform/decisions/FrameSchedule.h"

#include <gtest/gtest.h>

using namespace platform;
using namespace std::chrono_literals;
using Step = FrameSchedule::Step;

namespace {

/// What is due, in milliseconds; -1 if nothing is.
std::int64_t due(const FrameSchedule& schedule, Step step, bool somethingChanged = false) {
    const auto plan = schedule.next(somethingChanged);
    EXPECT_TRUE(plan.step == step);
    return plan.due ? plan.due->nanoseconds / 1'000'000 : -1;
}

} // namespace

TEST(FrameSchedule, LooksThatBeginALittleLateKeepTheRateAllTheSame) {
    FrameSchedule schedule(10ms, {});
    MediaTime now{};
    for (int frame = 0; frame <= 100; ++frame) {
        now = *schedule.next(true).due + 1ms;
        schedule.startLook(now);
        schedule.endLook(now, false);
    }
    EXPECT_EQ(now - MediaTime{}, 1001ms);
    schedule.startLook(now + 60s);
    EXPECT_EQ(*schedule.next(true).due, now + 60s + 10ms) << "what is long late is made up for";
    EXPECT_FALSE(schedule.next(true).eventsMatter) << "they wake the thread for nothing";
    EXPECT_EQ(due(schedule, Step::look), -1) << "a still screen is looked at";
    EXPECT_TRUE(schedule.next(false).eventsMatter);
}

TEST(FrameSchedule, LooksAtEverythingAgainSoonerWhereReportsWereLostAndLaterWhereItIsSlow) {
    FrameSchedule schedule(10ms, {.areReliable = false});
    MediaTime now{};
    const auto look = [&](bool everything, bool foundUnreported, std::chrono::nanoseconds cost) {
        EXPECT_EQ(schedule.startLook(now), everything);
        now = now + cost;
        schedule.endLook(now, foundUnreported);
        const auto plan = schedule.next(false);
        const auto pause = plan.due ? *plan.due - now : -1ns;
        now = plan.due.value_or(now);
        return pause;
    };
    EXPECT_EQ(look(false, false, 1ms), 2s);
    EXPECT_EQ(look(true, true, 1ms), 250ms);
    EXPECT_EQ(look(true, true, 1ms), 250ms);
    for (const auto pause : {500ms, 1000ms, 2000ms})
        EXPECT_EQ(look(true, false, 1ms), pause);
    EXPECT_EQ(look(true, false, 1ms), -1ns) << "until something has changed";
    EXPECT_EQ(look(false, false, 1ms), 2s);
    EXPECT_EQ(look(true, true, 600ms), 30s) << "over a slow network";
}

TEST(FrameSchedule, LooksAllTheTimeWhereNothingIsReportedAndAsksForThePointerWhereThatIsNot) {
    FrameSchedule blind(10ms, {.changes = false});
    EXPECT_TRUE(blind.startLook({}));
    blind.endLook(MediaTime{} + 3ms, true);
    EXPECT_EQ(due(blind, Step::look), 10);

    FrameSchedule schedule(10ms, {.areReliable = false, .pointerMoves = false});
    schedule.startLook({});
    schedule.endLook({}, false);
    EXPECT_EQ(due(schedule, Step::look, true), 10);
    for (int asked = 150; asked < 2000; asked += 150) {
        EXPECT_EQ(due(schedule, Step::askForPointer), asked);
        schedule.askedForPointer(MediaTime{} + asked * 1ms);
    }
    EXPECT_EQ(due(schedule, Step::look), 2000);
}

TEST(FrameSchedule, GivesUpWhenTheScreenCouldNotBeHadForAWhile) {
    FrameSchedule schedule(1s, {});
    const auto at = [](std::chrono::nanoseconds time) { return MediaTime{} + time; };
    schedule.startLook(at(1s));
    schedule.failLook(at(1s));
    EXPECT_EQ(due(schedule, Step::look), 2000);
    schedule.setScreenIsThere(false, at(2s));
    EXPECT_EQ(due(schedule, Step::giveUp, true), 4000) << "since the first failure";
    schedule.setScreenIsThere(true, at(3s));
    schedule.startLook(at(3s));
    EXPECT_EQ(due(schedule, Step::giveUp, true), 4000);
    schedule.endLook(at(3s), false);
    EXPECT_EQ(due(schedule, Step::look, true), 4000) << "it is there again";
}
