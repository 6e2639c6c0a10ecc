#include "platform/h264/SendSchedule.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <vector>

using namespace platform;
using namespace std::chrono_literals;
using h264::SendSchedule;
using Step = SendSchedule::Step;

namespace {

constexpr MediaTime at(std::chrono::milliseconds time) {
    return MediaTime{} + 1h + time;
}

constexpr std::int64_t limit = 2000; // Bytes in a second.

class SendScheduleTest : public testing::Test {
protected:
    SendScheduleTest() { schedule.setLimit(limit, 1s); }

    /// Encodes the frame that waits, when it is due as seen from `seen`, and
    /// returns whether it became a key frame.
    bool encode(MediaTime seen, MediaTime due, std::int64_t bytes) {
        expect(Step::encode, seen, due);
        const bool key = schedule.order(due, due, false).key;
        schedule.takeWaiting();
        schedule.encoded(bytes);
        return key;
    }
    void send(MediaTime seen, MediaTime due) {
        expect(Step::send, seen, due);
        schedule.send(due);
    }
    void expect(Step step, MediaTime seen, MediaTime time) {
        const auto due = schedule.next(seen);
        ASSERT_TRUE(due);
        EXPECT_EQ(due->step, step);
        EXPECT_EQ(due->time, time);
    }
    /// The first frame, a key frame that leaves this much of the second.
    void begin(std::int64_t room) {
        schedule.submit(false);
        EXPECT_TRUE(encode(at(0ms), at(0ms), limit - room));
        send(at(0ms), at(0ms));
        EXPECT_FALSE(schedule.next(at(0ms)));
    }

    SendSchedule schedule{10'000};
};

} // namespace

TEST_F(SendScheduleTest, TheNewestFrameWaitsForRoomForATypicalOne) {
    begin(30);
    schedule.submit(true);
    schedule.submit(false); // In its place; the wish for a key frame stays, which
                            // need not wait.
    EXPECT_TRUE(encode(at(10ms), at(10ms), 10));
    send(at(10ms), at(10ms));
    schedule.submit(false);
    EXPECT_FALSE(encode(at(20ms), at(1000ms), 100));
    send(at(1000ms), at(1000ms));
    schedule.submit(false);
    EXPECT_FALSE(schedule.hasRoomFor(limit - 50, at(1000ms)));
    expect(Step::encode, at(1000ms), at(2000ms));
    schedule.submit(true); // A key frame does not wait for what it is expected to take.
    EXPECT_TRUE(encode(at(1001ms), at(1001ms), 10));
    send(at(1001ms), at(1001ms));
    EXPECT_FALSE(schedule.next(at(1000ms)));
    schedule.submit(false);
    schedule.takeWaiting();
    EXPECT_FALSE(schedule.next(at(1001ms))) << "what could not be encoded is gone";
}

TEST_F(SendScheduleTest, AFrameLargerThanTheRoomLeftIsHeldAndNothingIsEncodedMeanwhile) {
    begin(500);
    schedule.submit(false);
    EXPECT_FALSE(encode(at(10ms), at(10ms), 600));
    schedule.submit(true);
    send(at(20ms), at(1000ms));
    EXPECT_TRUE(encode(at(1000ms), at(1000ms), 10 * limit));
    send(at(1000ms),
         at(1000ms)); // A key frame that is owed may exceed the limit,
    schedule.submit(true);
    expect(Step::encode, at(1001ms), at(2000ms)); // but not twice.
}

TEST_F(SendScheduleTest, ARefreshLeavesRoomForAChangeAsLargeAsTheLast) {
    begin(limit);
    schedule.submit(false);
    encode(at(2000ms), at(2000ms), 600);
    send(at(2000ms), at(2000ms));
    schedule.submit(false);
    const auto bytes = schedule.order(at(2300ms), at(2300ms), true).maxBits / 8;
    schedule.takeWaiting();
    EXPECT_GT(bytes, 200);
    schedule.encoded(bytes);
    send(at(2300ms), at(2300ms));
    schedule.submit(false);
    encode(at(2400ms), at(2400ms), 700); // A little larger than the last one.
    send(at(2400ms), at(2400ms));
}

TEST_F(SendScheduleTest, FramesAreSentAtTheFirstMomentThatKeepsTheLimit) {
    begin(0);
    std::mt19937 random(4);
    std::vector<std::pair<MediaTime, std::int64_t>> sent{{at(0ms), limit}};
    const auto sentBefore = [&](MediaTime now) {
        std::int64_t sum = 0;
        for (const auto& [time, bytes] : sent)
            if (time + 1s > now)
                sum += bytes;
        return sum;
    };
    auto now = at(0ms);
    for (int i = 0; i < 500; ++i) {
        schedule.submit(false);
        now = schedule.next(now)->time;
        const std::int64_t bytes = 1 + random() % 800;
        schedule.takeWaiting();
        schedule.encoded(bytes);
        const auto wanted = now + std::chrono::milliseconds(random() % 60);
        now = schedule.next(wanted)->time;
        ASSERT_LE(sentBefore(now) + bytes, limit);
        ASSERT_TRUE(now == wanted || sentBefore(now + -1ns) + bytes > limit) << "held too long";
        schedule.send(now);
        sent.emplace_back(now, bytes);
    }
}

TEST(SendScheduleOfARate, FramesThatTakeAllTheyMayKeepTheAverage) {
    constexpr std::int64_t rate = 1'000'000;
    SendSchedule schedule(rate);
    std::vector<std::int64_t> taken;
    for (int i = 0; i < 150; ++i) { // Five seconds.
        const auto now = at(i * 33ms);
        schedule.submit(false);
        taken.push_back(schedule.order(now, now, false).maxBits);
        schedule.takeWaiting();
        schedule.encoded(taken.back() / 8);
        schedule.send(now);
    }
    EXPECT_EQ(taken[0], rate / 2) << "a key frame may take half a second at once";
    for (auto second = taken.begin(); taken.end() - second >= 30; ++second) {
        const auto sum = std::accumulate(second, second + 30, std::int64_t{0});
        EXPECT_LE(sum, rate * 3 / 2);
        EXPECT_GE(sum, rate * 9 / 10);
    }
}
