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

/// A copy of a sample and the moment it came.
struct Sent {
    int picture;
    test::Video video;
    std::int64_t size;
    MediaTime presentationTime;
    MediaTime arrival;

    bool key() const { return video.key; }
};

/// A session and what comes out of it, each picture named by its number.
class Recorder {
public:
    Recorder(int width, int height, std::int64_t bitsPerSecond, std::int64_t bytesInASecond,
             int highestQP = 36)
        : session(CompressionSession::create(width, height)) {
        session->setExpectedFrameRate(30);
        session->setAverageBitRate(bitsPerSecond);
        if (bytesInASecond > 0)
            session->setDataRateLimits(bytesInASecond, 1);
        session->setMaxAllowedFrameQP(highestQP);
    }

    void encode(const ImageBuffer& image, bool key = false) {
        const int number = submitted++;
        session->encodeFrame(image, timeOf(number), {.forceKeyFrame = key},
                             [this, number](const EncodedSample* sample) { take(number, sample); });
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

    std::unique_ptr<CompressionSession> session;
    int submitted = 0;

private:
    void take(int number, const EncodedSample* sample) {
        const std::lock_guard guard(lock);
        if (!sample)
            return dropped.push_back(number);
        outputs.push_back({number,
                           test::video({orvel::FrameType::video, orvel::videoPayload(*sample)}),
                           std::ssize(sample->data), sample->presentationTime, hostTime()});
    }

    std::mutex lock;
    std::vector<Sent> outputs;
    std::vector<int> dropped;
};

std::int64_t bytes(const std::vector<Sent>& sent, std::size_t begin, std::size_t end) {
    std::int64_t sum = 0;
    for (auto i = begin; i < end; ++i)
        sum += sent[i].size;
    return sum;
}

} // namespace

TEST(CompressionSession, TakesEvenSizesAndPicturesOfItsOwnOnly) {
    for (const auto& [width, height] :
         {std::pair{0, 2}, {2, 0}, {3, 2}, {2, 3}, {-2, 2}, {16386, 2}})
        EXPECT_FALSE(CompressionSession::create(width, height)) << width << 'x' << height;
    EXPECT_TRUE(CompressionSession::create(16384, 2));
    Recorder recorder(64, 48, 1'000'000, 0);
    recorder.encode(noise(48, 64, 0));
    EXPECT_EQ(recorder.passedOver(), std::vector{0});
}

TEST(CompressionSession, EachSampleIsOutBeforeTheNextPictureGoesIn) {
    Recorder recorder(320, 240, 4'000'000, 0);
    for (int i = 0; i < 20; ++i) {
        recorder.encode(noise(320, 240, static_cast<unsigned>(i)));
        const auto sent = recorder.sent();
        ASSERT_EQ(sent.size(), static_cast<std::size_t>(i + 1));
        EXPECT_EQ(sent.back().presentationTime, Recorder::timeOf(i));
        auto types = sent.back().video.unitTypes();
        types.erase(std::ranges::unique(types).begin(), types.end()); // A frame has some slices.
        EXPECT_EQ(types, i == 0 ? (std::vector{7, 8, 5}) : std::vector{1});
        EXPECT_EQ(sent.back().key(), i == 0);
    }
    const auto set = recorder.sent()[0].video.units.at(0);
    EXPECT_EQ(orvel::Bytes(set.begin(), set.begin() + 3), (orvel::Bytes{0x67, 100, 0x0C}))
        << "the profile is not Constrained High";
}

TEST(CompressionSession, KeyFramesComeWhenAskedForAndNeverElse) {
    Recorder recorder(320, 240, 4'000'000, 0);
    // Every picture is a new scene, and there are more than any usual distance of key frames.
    for (int i = 0; i < 300; ++i)
        recorder.encode(noise(320, 240, static_cast<unsigned>(i % 7)), i == 100);
    std::vector<int> keys;
    for (const auto& output : recorder.sent())
        if (output.key())
            keys.push_back(output.picture);
    EXPECT_EQ(keys, (std::vector{0, 100}));
}

TEST(CompressionSession, ANewRateActsAtOnceAndWithoutAKeyFrame) {
    Recorder recorder(320, 240, 20'000'000, 0, 51);
    const auto encodeSome = [&] {
        for (unsigned i = 0; i < 60; ++i)
            recorder.encode(noise(320, 240, i));
    };
    encodeSome();
    EXPECT_TRUE(recorder.session->setAverageBitRate(5'000'000));
    encodeSome();
    EXPECT_TRUE(recorder.session->setAverageBitRate(20'000'000));
    encodeSome();
    const auto sent = recorder.sent();
    const auto high = bytes(sent, 30, 60);
    EXPECT_LT(bytes(sent, 90, 120), high / 2);
    EXPECT_GT(bytes(sent, 150, 180), high * 2 / 3);
    EXPECT_EQ(std::ranges::count(sent, true, &Sent::key), 1);
}

TEST(CompressionSession, TheCeilingHoldsAgainstTheRate) {
    const auto sizeWithCeiling = [](int qp) {
        Recorder recorder(320, 240, 200'000, 0, qp);
        for (unsigned i = 0; i < 10; ++i)
            recorder.encode(noise(320, 240, i));
        return bytes(recorder.sent(), 1, 10);
    };
    EXPECT_GT(sizeWithCeiling(36), 2 * sizeWithCeiling(51));
}

namespace {

/// A session whose first second is used up by its key frame.
class FullWindow : public testing::Test {
protected:
    FullWindow() {
        recorder.encode(noise(320, 240, 0));
        EXPECT_EQ(recorder.sent().size(), 1u) << "the first key frame waits for nobody";
        recorder.encode(noise(320, 240, 1));
        EXPECT_TRUE(recorder.passedOver().empty());
        recorder.encode(noise(320, 240, 2));
        EXPECT_EQ(recorder.passedOver(), std::vector{1});
        EXPECT_EQ(recorder.sent().size(), 1u);
    }
    Recorder recorder{320, 240, 10'000, 2000};
};

} // namespace

TEST_F(FullWindow, TheNewestFrameFollowsByItself) {
    ASSERT_TRUE(test::eventually([&] { return recorder.sent().size() == 2; }));
    const auto sent = recorder.sent();
    EXPECT_EQ(sent[1].picture, 2);
    EXPECT_EQ(sent[1].presentationTime, Recorder::timeOf(2));
    EXPECT_GE(sent[1].arrival - sent[0].arrival, 900ms);
}

TEST_F(FullWindow, AHigherLimitLetsWhatWaitsGoAtOnce) {
    EXPECT_TRUE(recorder.session->setDataRateLimits(1, 60));
    EXPECT_TRUE(recorder.session->setDataRateLimits(10'000'000, 60));
    ASSERT_TRUE(test::eventually([&] { return recorder.sent().size() == 2; }));
}

TEST_F(FullWindow, EndingPassesOverWhatWaitsAndAllThatFollows) {
    recorder.session->invalidate();
    recorder.encode(noise(320, 240, 3));
    recorder.session->completeFrames();
    EXPECT_EQ(recorder.passedOver(), (std::vector{1, 2, 3}));
    EXPECT_EQ(recorder.sent().size(), 1u);
    EXPECT_FALSE(recorder.session->prepareToEncode());
}

TEST(CompressionSession, SessionsInUseByManyThreadsEndWhole) {
    std::atomic<int> answered = 0;
    constexpr int each = 60;
    {
        const auto session = CompressionSession::create(64, 48);
        session->setDataRateLimits(5000, 0.05);
        const auto picture = noise(64, 48, 0);
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 3; ++thread)
            threads.emplace_back([&] {
                for (int i = 0; i < each; ++i)
                    session->encodeFrame(picture, hostTime(), {.forceKeyFrame = i % 9 == 0},
                                         [&](const EncodedSample*) { ++answered; });
            });
        threads.emplace_back([&] {
            for (int kbps = 200; kbps < 4000; kbps += 200) {
                session->setAverageBitRate(kbps * 1000);
                session->setDataRateLimits(kbps * 10, 0.05);
                session->completeFrames();
            }
        });
    }
    EXPECT_EQ(answered, 3 * each);
}
