#include "local/Encoder.h"
#include "support/Frames.h"
#include "support/Pictures.h"
#include "support/Process.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

using namespace orvel;
using namespace std::chrono_literals;

namespace {

constexpr int width = 64;
constexpr int height = 32;

platform::ImageBuffer picture(std::uint8_t shade) {
    return test::painted(width, height, [=](int, int) { return shade * 0x010101u; });
}

class EncoderTest : public testing::Test {
protected:
    std::vector<test::Video> videos() {
        std::vector<test::Video> result;
        for (const auto& frame : output.frames())
            result.push_back(test::video(frame));
        return result;
    }
    bool eventuallyFrames(std::size_t count) {
        return test::eventually([&] { return output.frames().size() >= count; });
    }

    test::CapturedOutput output;
    std::shared_ptr<Encoder> encoder = Encoder::create(width, height, 30, 4000);
};

constexpr platform::MediaTime second{1'000'000'000};

} // namespace

TEST_F(EncoderTest, TimesAlwaysIncrease) {
    encoder->encode(picture(50), second);
    encoder->encode(picture(60), second);
    encoder->encode(picture(70), second + -5ms);
    const auto sent = videos();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[1].microseconds, 1'001'000u);
    EXPECT_EQ(sent[2].microseconds, 1'002'000u);
}

TEST_F(EncoderTest, AKeyFrameIsMadeOfTheNextPictureOrOfTheLastOneAgain) {
    encoder->askKey();
    usleep(250'000);
    EXPECT_TRUE(videos().empty()) << "there is nothing to repeat";
    encoder->askKey();
    encoder->encode(picture(50), platform::hostTime());
    encoder->askKey();
    encoder->encode(picture(60), platform::hostTime());
    usleep(250'000); // The patience of both requests is over; neither may add a frame.
    ASSERT_EQ(videos().size(), 2u);
    EXPECT_TRUE(videos()[1].key);

    encoder->askKey();
    ASSERT_TRUE(eventuallyFrames(3));
    const auto sent = videos();
    EXPECT_TRUE(sent[2].key);
    EXPECT_GT(sent[2].microseconds, sent[1].microseconds);
}

TEST_F(EncoderTest, ALoneCapturedPictureIsSentTwiceMore) {
    encoder->captured(picture(50), platform::hostTime());
    usleep(100'000);
    encoder->captured(picture(60), platform::hostTime());
    ASSERT_TRUE(eventuallyFrames(4));
    usleep(400'000); // Long enough for the refreshes of the first picture, were they still to come.
    const auto sent = videos();
    ASSERT_EQ(sent.size(), 4u);
    const auto since = [&](std::size_t index) {
        return std::chrono::microseconds(sent[index].microseconds - sent[1].microseconds);
    };
    EXPECT_GE(since(2), 300ms);
    EXPECT_LT(since(2), 1100ms);
    EXPECT_GE(since(3), 1200ms);
}

TEST_F(EncoderTest, AfterTheStopNothingIsSentAndItGoesWithItsOwner) {
    encoder->captured(picture(50), platform::hostTime());
    encoder->stop();
    encoder->stop();
    encoder->askKey();
    encoder->setRate(900);
    encoder->captured(picture(60), platform::hostTime());
    usleep(450'000);
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
