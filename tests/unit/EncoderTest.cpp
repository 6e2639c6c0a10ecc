#include "local/Encoder.h"
#include "support/Frames.h"
#include "support/Process.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace orvel;
using namespace std::chrono_literals;

namespace {

constexpr int width = 64;
constexpr int height = 32;

platform::ImageBuffer picture(std::uint8_t luma) {
    auto buffer =
        std::make_shared<platform::PixelBuffer>(platform::PixelFormat::video420, width, height);
    for (const int index : {0, 1}) {
        const auto& plane = buffer->plane(index);
        std::memset(plane.data, index == 0 ? luma : 128,
                    static_cast<std::size_t>(plane.bytesPerRow) *
                        static_cast<std::size_t>(plane.height));
    }
    return buffer;
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

TEST_F(EncoderTest, TheFirstFrameIsAKeyFrameAndTheNextIsNot) {
    encoder->encode(picture(50), second);
    encoder->encode(picture(60), second + 40ms);
    const auto sent = videos();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_TRUE(sent[0].key);
    EXPECT_EQ(sent[0].unitTypes(), (std::vector<int>{7, 8, 5}));
    EXPECT_EQ(sent[0].microseconds, 1'000'000u);
    EXPECT_FALSE(sent[1].key);
    EXPECT_EQ(sent[1].unitTypes(), std::vector<int>{1});
    EXPECT_EQ(sent[1].microseconds, 1'040'000u);
}

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

TEST_F(EncoderTest, WithoutAPictureThereIsNothingToRepeat) {
    encoder->askKey();
    usleep(250'000);
    EXPECT_TRUE(videos().empty());
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

TEST_F(EncoderTest, AfterTheStopNothingIsSent) {
    encoder->captured(picture(50), platform::hostTime());
    encoder->stop();
    encoder->stop();
    encoder->askKey();
    encoder->setRate(900);
    encoder->captured(picture(60), platform::hostTime());
    usleep(450'000);
    EXPECT_EQ(videos().size(), 1u);
}

TEST_F(EncoderTest, ItGoesWithItsOwnerWhateverIsStillScheduled) {
    encoder->captured(picture(50), platform::hostTime());
    encoder->askKey();
    encoder->stop();
    const std::weak_ptr weak = encoder;
    encoder.reset();
    EXPECT_TRUE(test::eventually([&] { return weak.expired(); }));
}

TEST(EncoderCreation, YieldsNothingForASizeThatCannotBeCoded) {
    EXPECT_EQ(Encoder::create(0, 0, 30, 4000), nullptr);
    EXPECT_EQ(Encoder::create(63, 32, 30, 4000), nullptr);
}
