#include "local/Encoder.h"
#include "platform/Queue.h"
#include "support/Frames.h"
#include "support/Pictures.h"
#include "support/Process.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <atomic>

using namespace orvel;
using namespace std::chrono_literals;

namespace {

platform::ImageBuffer frame(std::uint8_t shade) {
    return test::painted(64, 32, [=](int, int) { return shade * 0x010101u; });
}

class EncoderTest : public testing::Test {
protected:
    std::vector<test::Video> videos() {
        std::vector<test::Video> result;
        for (const auto& frame : output.frames())
            result.push_back(test::video(frame));
        return result;
    }
    /// Waits until the queue has come to all that was due before this.
    static void letTasksPass(std::chrono::milliseconds due) {
        std::atomic<bool> passed = false;
        platform::globalQueueAfter(due, [&] { passed = true; });
        ASSERT_TRUE(test::eventually([&] { return passed.load(); }));
    }

    test::CapturedOutput output;
    std::shared_ptr<Encoder> encoder = Encoder::create(64, 32, 30, 4000);
};

} // namespace

TEST_F(EncoderTest, TimesAlwaysIncrease) {
    constexpr platform::MediaTime second{1'000'000'000};
    for (const auto time : {second, second, second + -5ms})
        encoder->encode(frame(50), time);
    const auto sent = videos();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[1].microseconds, 1'001'000u);
    EXPECT_EQ(sent[2].microseconds, 1'002'000u);
}

TEST_F(EncoderTest, AKeyFrameIsMadeOfTheNextFrameOrOfTheLastOneAgain) {
    encoder->askKey();
    letTasksPass(200ms);
    EXPECT_TRUE(videos().empty()) << "there is nothing to repeat";
    encoder->askKey();
    encoder->encode(frame(50), platform::hostTime());
    encoder->askKey();
    encoder->encode(frame(60), platform::hostTime());
    letTasksPass(200ms); // The patience of both requests is over; neither may add a frame.
    ASSERT_EQ(videos().size(), 2u);
    EXPECT_TRUE(videos()[1].key);
    encoder->askKey();
    ASSERT_TRUE(test::eventually([&] { return videos().size() == 3; }));
    EXPECT_TRUE(videos()[2].key);
    EXPECT_GT(videos()[2].microseconds, videos()[1].microseconds);
}

TEST_F(EncoderTest, ALoneCapturedFrameIsSentTwiceMore) {
    encoder->captured(frame(50), platform::hostTime());
    letTasksPass(100ms);
    encoder->captured(frame(60), platform::hostTime());
    ASSERT_TRUE(test::eventually([&] { return videos().size() >= 4; }));
    const auto sent = videos();
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_GE(sent[2].microseconds, sent[1].microseconds + 300'000);
    EXPECT_GE(sent[3].microseconds, sent[1].microseconds + 1'200'000);
}

TEST_F(EncoderTest, AfterTheStopNothingIsSentAndItGoesWithItsOwner) {
    encoder->captured(frame(50), platform::hostTime());
    encoder->stop();
    encoder->stop();
    encoder->askKey();
    encoder->setRate(900);
    encoder->captured(frame(60), platform::hostTime());
    letTasksPass(350ms);
    EXPECT_EQ(videos().size(), 1u);
    const std::weak_ptr weak = encoder;
    encoder.reset();
    EXPECT_TRUE(test::eventually([&] { return weak.expired(); })) << "what is scheduled keeps it";
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(Encoder, CannotBeHadWithoutMemoryToEncode) {
    rlimit usual{};
    getrlimit(RLIMIT_AS, &usual);
    const rlimit scarce{.rlim_cur = 1 << 30, .rlim_max = usual.rlim_max};
    setrlimit(RLIMIT_AS, &scarce);
    const auto encoder = Encoder::create(16384, 16384, 30, 4000);
    setrlimit(RLIMIT_AS, &usual);
    EXPECT_FALSE(encoder);
}
#endif
