#include "local/VideoPayload.h"
#include "platform/VideoCompression.h"
#include "support/Frames.h"
#include "support/Pictures.h"
#include "support/Process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

using namespace platform;
using namespace std::chrono_literals;
using test::noise;

namespace {

struct Sent {
    int frame;
    test::Video video;
    std::int64_t size;
    MediaTime presentationTime;
    MediaTime arrival;
};

/// A session of 320x240 and what comes out of it, each frame named by its number.
class Recorder {
public:
    /// Without a limit if `bytesInASecond` is 0.
    explicit Recorder(std::int64_t bitsPerSecond, std::int64_t bytesInASecond = 0, int maxQP = 36) {
        session->setAverageBitRate(bitsPerSecond);
        session->setDataRateLimits(bytesInASecond, 1);
        session->setMaxAllowedFrameQP(maxQP);
    }
    void encode(const ImageBuffer& image, bool key = false) {
        const int number = submitted++;
        session->encodeFrame(
            image, timeOf(number), {.forceKeyFrame = key}, [this, number](const auto* sample) {
                const std::lock_guard guard(lock);
                if (!sample)
                    return dropped.push_back(number);
                outputs.push_back(
                    {number, test::video({orvel::FrameType::video, orvel::videoPayload(*sample)}),
                     std::ssize(sample->data), sample->presentationTime, hostTime()});
            });
    }
    /// Returns how many bytes so many frames of noise took.
    std::int64_t encodeNoise(int count) {
        const auto before = sent().size();
        for (int i = 0; i < count; ++i)
            encode(noise(320, 240, static_cast<unsigned>(i % 7)));
        std::int64_t sum = 0;
        for (const auto& output : std::span(outputs).subspan(before))
            sum += output.size;
        return sum;
    }
    static MediaTime timeOf(int number) { return MediaTime{} + (number + 1) * 33ms; }

    std::vector<Sent> sent() {
        const std::lock_guard guard(lock);
        return outputs;
    }
    std::vector<int> passedOver() {
        const std::lock_guard guard(lock);
        return dropped;
    }
    const std::unique_ptr<CompressionSession> session = CompressionSession::create(320, 240);

private:
    int submitted = 0;
    std::mutex lock;
    std::vector<Sent> outputs;
    std::vector<int> dropped;
};

} // namespace

TEST(CompressionSession, TakesEvenSizesAndFramesOfItsOwnOnly) {
    for (const auto& [width, height] : {std::pair{0, 2}, {3, 2}, {2, 3}, {-2, 2}, {16386, 2}})
        EXPECT_FALSE(CompressionSession::create(width, height)) << width << 'x' << height;
    EXPECT_TRUE(CompressionSession::create(16384, 2));
    Recorder recorder(1'000'000);
    recorder.encode(noise(240, 320, 0));
    EXPECT_EQ(recorder.passedOver(), std::vector{0});
}

TEST(CompressionSession, EachSampleIsOutBeforeTheNextFrameAndKeyFramesComeWhenAskedForOnly) {
    Recorder recorder(4'000'000);
    // Every frame is a new scene, and there are more than any usual distance of
    // key frames.
    for (int i = 0; i < 300; ++i) {
        recorder.encode(noise(320, 240, static_cast<unsigned>(i % 7)), i == 100);
        const auto sent = recorder.sent();
        ASSERT_EQ(sent.size(), static_cast<std::size_t>(i + 1));
        ASSERT_EQ(sent.back().presentationTime, Recorder::timeOf(i));
        auto types = sent.back().video.unitTypes();
        types.erase(std::ranges::unique(types).begin(),
                    types.end()); // A frame has some slices.
        const bool key = i == 0 || i == 100;
        ASSERT_EQ(sent.back().video.unitTypes(), key ? (std::vector{7, 8, 5}) : std::vector{1})
            << i;
        ASSERT_EQ(sent.back().video.key, key);
    }
    const auto set = recorder.sent()[0].video.units.at(0);
    EXPECT_EQ(orvel::Bytes(set.begin(), set.begin() + 3), (orvel::Bytes{0x67, 100, 0x0C}))
        << "the profile is not Constrained High";
}

TEST(CompressionSession, ANewRateActsAtOnceAndTheCeilingHoldsAgainstIt) {
    Recorder recorder(20'000'000, 0, 51);
    recorder.encodeNoise(30);
    const auto high = recorder.encodeNoise(30);
    EXPECT_TRUE(recorder.session->setAverageBitRate(5'000'000));
    recorder.encodeNoise(30);
    EXPECT_LT(recorder.encodeNoise(30), high / 2);
    EXPECT_TRUE(recorder.session->setAverageBitRate(20'000'000));
    recorder.encodeNoise(30);
    EXPECT_GT(recorder.encodeNoise(30), high * 2 / 3);
    EXPECT_GT(Recorder(200'000, 0, 36).encodeNoise(10),
              2 * Recorder(200'000, 0, 51).encodeNoise(10));
}

TEST(CompressionSession, WhatFindsNoRoomFollowsByItselfUnlessTheSessionEnds) {
    Recorder recorder(10'000, 2000);
    recorder.encodeNoise(3);
    EXPECT_EQ(recorder.sent().size(), 1u) << "the first key frame waits for nobody";
    EXPECT_EQ(recorder.passedOver(), std::vector{1});
    ASSERT_TRUE(test::eventually([&] { return recorder.sent().size() == 2; }));
    EXPECT_EQ(recorder.sent()[1].frame, 2);
    EXPECT_GE(recorder.sent()[1].arrival - recorder.sent()[0].arrival, 900ms);
    EXPECT_TRUE(recorder.session->setDataRateLimits(1, 60));
    recorder.encodeNoise(1);
    EXPECT_EQ(recorder.sent().size(), 2u);
    EXPECT_TRUE(recorder.session->setDataRateLimits(10'000'000, 60));
    EXPECT_TRUE(test::eventually([&] { return recorder.sent().size() == 3; }));
    EXPECT_TRUE(recorder.session->setDataRateLimits(1, 60));
    recorder.encodeNoise(1);
    recorder.session->invalidate();
    recorder.encodeNoise(1);
    recorder.session->completeFrames();
    EXPECT_EQ(recorder.passedOver(), (std::vector{1, 4, 5}));
    EXPECT_FALSE(recorder.session->prepareToEncode());
}

TEST(CompressionSession, SessionsInUseByManyThreadsEndWhole) {
    std::atomic<int> answered = 0;
    {
        const auto session = CompressionSession::create(64, 48);
        session->setDataRateLimits(5000, 0.05);
        const auto work = [&, frame = noise(64, 48, 0)](int each) {
            for (int i = 0; i < each; ++i)
                session->encodeFrame(frame, hostTime(), {.forceKeyFrame = i % 9 == 0},
                                     [&](const EncodedSample*) { ++answered; });
        };
        const std::jthread one(work, 60), two(work, 60);
        for (int kbps = 200; kbps < 4000; kbps += 200) {
            session->setAverageBitRate(kbps * 1000);
            session->setDataRateLimits(kbps * 10, 0.05);
            session->completeFrames();
        }
    }
    EXPECT_EQ(answered, 120);
}
