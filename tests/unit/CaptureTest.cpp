#include "local/Capture.h"
#include "platform/FakeDesktop.h"
#include "support/Frames.h"

#include <gtest/gtest.h>

using namespace orvel;
using platform::FrameStatus;
using platform::SampleType;

namespace {

class CaptureTest : public testing::Test {
protected:
    CaptureTest() { test::fakeDesktop() = {.displays = {{3, {0, 0, 64, 32}}}, .mainID = 3}; }

    Capture capture{
        {3, "screen", {0, 0, 64, 32}, true}, Encoder::create(64, 32, 30, 4000), {64, 32}};
    test::CapturedOutput output;
};

platform::CaptureSample completeSample() {
    return {.valid = true,
            .attachments = {{FrameStatus::complete}},
            .image =
                std::make_shared<platform::PixelBuffer>(platform::PixelFormat::video420, 64, 32),
            .presentationTime = platform::hostTime()};
}

} // namespace

TEST_F(CaptureTest, AsksForTheDisplayWithoutTheCompanion) {
    capture.start(30);
    const auto stream = test::fakeDesktop().stream;
    ASSERT_TRUE(stream && stream->running);
    EXPECT_EQ(stream->filter.display, 3u);
    EXPECT_EQ(stream->filter.excludedApplications,
              (std::vector<std::string>{"com.quillmarsh.orvel.companion", "brell.companion"}));
    EXPECT_EQ(stream->configuration.width, 64);
    EXPECT_EQ(stream->configuration.height, 32);
    EXPECT_EQ(stream->configuration.minimumFrameInterval, std::chrono::nanoseconds(33'333'333));
}

TEST_F(CaptureTest, ADisplayThatIsGoneCannotBeFilmed) {
    test::fakeDesktop().displays.clear();
    EXPECT_THROW(capture.start(30), platform::CaptureError);
}

TEST_F(CaptureTest, OnlyCompletePicturesOfTheScreenReachTheEncoder) {
    capture.start(30);
    const auto deliver = test::fakeDesktop().stream->output;
    auto invalid = completeSample();
    invalid.valid = false;
    auto unknown = completeSample();
    unknown.attachments.clear();
    auto statusless = completeSample();
    statusless.attachments = {{std::nullopt}, {FrameStatus::complete}};
    auto idle = completeSample();
    idle.attachments = {{FrameStatus::idle}};
    auto empty = completeSample();
    empty.image = nullptr;
    deliver(SampleType::audio, completeSample());
    for (const auto& sample : {invalid, unknown, statusless, idle, empty})
        deliver(SampleType::screen, sample);
    EXPECT_TRUE(output.frames().empty());

    deliver(SampleType::screen, completeSample());
    const auto frames = output.frames();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_TRUE(test::video(frames[0]).key);
}
