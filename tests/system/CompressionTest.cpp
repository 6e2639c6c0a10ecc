#include "local/VideoPayload.h"
#include "platform/Mutex.h"
#include "platform/VideoCompression.h"
#include "support/Decoder.h"
#include "support/Frames.h"
#include "support/Pictures.h"
#include "support/Process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

using namespace platform;
using namespace std::chrono_literals;
using test::Decoded;
using test::noise;

namespace {

struct Sent {
    int frame; ///< Its number, from 0.
    test::Video video;
    MediaTime presentationTime;
    MediaTime arrival;
};

/// A compression session and what comes out of it.
class Film {
public:
    /// Without a limit if `bytesInASecond` is 0.
    explicit Film(int width = 320, int height = 240, std::int64_t bitsPerSecond = 1'000'000,
                  std::int64_t bytesInASecond = 0, int maxQP = 36)
        : session(CompressionSession::create(width, height)) {
        session->setAverageBitRate(bitsPerSecond);
        session->setDataRateLimits(bytesInASecond, 1);
        session->setMaxAllowedFrameQP(maxQP);
    }
    void add(const ImageBuffer& image, bool key = false, std::chrono::milliseconds after = 33ms) {
        time = time + after;
        session->encodeFrame(
            image, time, {.forceKeyFrame = key}, [this, number = added++](const auto* sample) {
                const MutexLock locked(lock);
                if (!sample)
                    return dropped.push_back(number);
                outputs.push_back(
                    {number, test::video({orvel::FrameType::video, orvel::videoPayload(*sample)}),
                     sample->presentationTime, hostTime()});
            });
    }
    /// Returns how many bytes so many frames of noise took.
    std::size_t addNoise(int count) {
        const auto before = stream().size();
        for (int i = 0; i < count; ++i)
            add(noise(320, 240, static_cast<unsigned>(i % 7)));
        return stream().size() - before;
    }
    std::vector<Sent> sent() {
        const MutexLock locked(lock);
        return outputs;
    }
    std::vector<int> passedOver() {
        const MutexLock locked(lock);
        return dropped;
    }
    std::vector<std::uint8_t> stream() {
        std::vector<std::uint8_t> all;
        for (const auto& each : sent())
            all.insert(all.end(), each.video.stream.begin(), each.video.stream.end());
        return all;
    }

private:
    MediaTime time;
    int added = 0;
    Mutex lock;
    std::vector<Sent> outputs GUARDED_BY(lock);
    std::vector<int> dropped GUARDED_BY(lock);

public:
    const std::unique_ptr<CompressionSession> session; // last, so that it ends first
};

/// A window of text on a desktop: sharp edges, few colours, the same each time.
std::uint32_t desktop(int x, int y, int scrolled) {
    if (x < 40 || x >= 280)
        return 0x2060a0;
    const int line = y + scrolled;
    const unsigned cell =
        static_cast<unsigned>(x / 6) * 2654435761u ^ static_cast<unsigned>(line / 10) * 2246822519u;
    const unsigned bit = (static_cast<unsigned>(x % 6) * 5 + static_cast<unsigned>(line % 10)) % 29;
    return x % 6 && line % 10 > 2 && (cell >> bit & 1) ? 0x101010 : 0xf0f0f0;
}

/// Of the luma, which is what text is read by.
double meanError(const test::Picture& picture, const PixelBuffer& original) {
    const auto& plane = original.plane(0);
    double sum = 0;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            sum += std::abs(picture.at(x, y)[0] - plane.data[y * plane.bytesPerRow + x]);
    return sum / (picture.width * picture.height);
}

} // namespace

TEST(Compression, DecodedColoursAreTheScreens) {
    const std::vector<std::uint32_t> colours{0xff0000, 0x00ff00, 0x0000ff, 0xffffff,
                                             0x000000, 0x808080, 0xc04020};
    Film film(64, 48);
    for (const auto colour : colours)
        film.add(test::painted(64, 48, [&](int, int) { return colour; }), true);
    const auto pictures = test::decode(film.stream(), 64, 48, Decoded::bgra);
    ASSERT_EQ(pictures.size(), colours.size());
    for (std::size_t i = 0; i < colours.size(); ++i)
        for (const int channel : {0, 1, 2})
            EXPECT_NEAR(pictures[i].at(30, 20)[static_cast<std::size_t>(channel)],
                        static_cast<int>(colours[i] >> channel * 8 & 255), 3)
                << std::hex << colours[i];
}

TEST(Compression, TheStreamSaysWhatItIs) {
    Film film(1364, 766);
    film.add(test::noise(1364, 766, 1));
    const auto said = test::probe(film.stream());
    for (const auto* line : {"profile=High\n", "has_b_frames=0\n", "width=1364\n", "height=766\n",
                             "pix_fmt=yuv420p\n", "color_range=tv\n", "color_space=smpte170m\n",
                             "color_primaries=bt709\n", "color_transfer=bt709\n"})
        EXPECT_NE(said.find(line), std::string::npos) << line << said;
}

TEST(Compression, OddlyEvenAndVeryLargeSizesDecode) {
    for (const auto& [width, height] : {std::pair{2, 2}, {320, 206}, {4096, 2304}}) {
        // The last column and row stand out, so that a lost one is seen.
        Film film(width, height);
        film.add(test::painted(width, height, [&, w = width, h = height](int x, int y) {
            return x >= w - 2 || y >= h - 2 ? 0xffffffu : 0x204060u;
        }));
        const auto decoded = test::decode(film.stream(), width, height, Decoded::bgra);
        ASSERT_EQ(decoded.size(), 1u) << width << 'x' << height;
        EXPECT_NEAR(decoded[0].at(width / 2 - 1, height / 2 - 1)[1], width > 2 ? 0x40 : 0xff, 4);
        EXPECT_GT(decoded[0].at(width - 1, 0)[1], 200);
        EXPECT_GT(decoded[0].at(0, height - 1)[1], 200);
    }
}

TEST(Compression, NothingOfPassedOverFramesIsForgottenAndAStillScreenSettles) {
    constexpr int width = 320, height = 208;
    Film film(width, height);
    film.session->setDataRateLimits(1, 60); // After the first frame there is no room.
    std::shared_ptr<PixelBuffer> last;
    // Each frame changes so many more rows of blocks than the one before, and says no more than
    // that.
    int drawn = 0;
    const auto draw = [&](int rows) {
        const auto frame = test::painted(width, height, [&](int x, int y) {
            return desktop(x, y, y / 16 < drawn + rows ? 7 : 0);
        });
        frame->changes.serial = nextFrameSerial();
        frame->changes.predecessor = last ? last->changes.serial : 0;
        frame->changes.changedBlocks.assign(20 * 13, 0);
        std::fill_n(&frame->changes.changedBlocks[static_cast<std::size_t>(20 * drawn)], 20 * rows,
                    1);
        drawn += rows;
        film.add(last = frame);
    };
    for (const int rows : {0, 1, 1, 1})
        draw(rows);
    film.session->completeFrames();
    film.session->setDataRateLimits(1'000'000, 60);
    film.add(last, false, 300ms);
    film.add(last, false, 900ms);
    const auto still = last;
    draw(5);
    const auto decoded = test::decode(film.stream(), width, height, Decoded::luma);
    ASSERT_EQ(decoded.size(), 5u);
    EXPECT_LT(meanError(decoded[1], *still), meanError(decoded[0], *still) / 3);
    EXPECT_LT(meanError(decoded[3], *still), meanError(decoded[1], *still) * 0.7);
    EXPECT_LT(meanError(decoded[4], *last), meanError(decoded[3], *last) / 3);
}

TEST(Compression, TakesEvenSizesAndFramesOfItsOwnOnly) {
    for (const auto& [width, height] : {std::pair{0, 2}, {3, 2}, {2, 3}, {-2, 2}, {16386, 2}})
        EXPECT_FALSE(CompressionSession::create(width, height)) << width << 'x' << height;
    EXPECT_TRUE(CompressionSession::create(16384, 2));
    Film film;
    film.add(noise(240, 320, 0));
    EXPECT_EQ(film.passedOver(), std::vector{0});
}

TEST(Compression, EachSampleIsOutBeforeTheNextFrameAndKeyFramesComeWhenAskedForOnly) {
    Film film(320, 240, 4'000'000);
    // Every frame is a new scene, and there are more than any usual distance of
    // key frames.
    for (int i = 0; i < 300; ++i) {
        film.add(noise(320, 240, static_cast<unsigned>(i % 7)), i == 100);
        const auto sent = film.sent();
        ASSERT_EQ(sent.size(), static_cast<std::size_t>(i + 1));
        ASSERT_EQ(sent.back().presentationTime, MediaTime{} + (i + 1) * 33ms);
        const bool key = i == 0 || i == 100;
        ASSERT_EQ(sent.back().video.unitTypes(), key ? (std::vector{7, 8, 5}) : std::vector{1})
            << i;
        ASSERT_EQ(sent.back().video.key, key);
    }
    const auto set = film.sent()[0].video.units.at(0);
    EXPECT_EQ(orvel::Bytes(set.begin(), set.begin() + 3), (orvel::Bytes{0x67, 100, 0x0C}))
        << "the profile is not Constrained High";
}

TEST(Compression, ANewRateActsAtOnceAndTheCeilingHoldsAgainstIt) {
    Film film(320, 240, 20'000'000, 0, 51);
    film.addNoise(30);
    const auto high = film.addNoise(30);
    EXPECT_TRUE(film.session->setAverageBitRate(5'000'000));
    film.addNoise(30);
    EXPECT_LT(film.addNoise(30), high / 2);
    EXPECT_TRUE(film.session->setAverageBitRate(20'000'000));
    film.addNoise(30);
    EXPECT_GT(film.addNoise(30), high * 2 / 3);
    EXPECT_GT(Film(320, 240, 200'000, 0, 36).addNoise(10),
              2 * Film(320, 240, 200'000, 0, 51).addNoise(10));
}

TEST(Compression, WhatFindsNoRoomFollowsByItselfUnlessTheSessionEnds) {
    Film film(320, 240, 10'000, 2000);
    film.addNoise(3);
    EXPECT_EQ(film.sent().size(), 1u) << "the first key frame waits for nobody";
    EXPECT_EQ(film.passedOver(), std::vector{1});
    ASSERT_TRUE(test::eventually([&] { return film.sent().size() == 2; }));
    EXPECT_EQ(film.sent()[1].frame, 2);
    EXPECT_GE(film.sent()[1].arrival - film.sent()[0].arrival, 900ms);
    EXPECT_TRUE(film.session->setDataRateLimits(1, 60));
    film.addNoise(1);
    EXPECT_EQ(film.sent().size(), 2u);
    EXPECT_TRUE(film.session->setDataRateLimits(10'000'000, 60));
    EXPECT_TRUE(test::eventually([&] { return film.sent().size() == 3; }));
    EXPECT_TRUE(film.session->setDataRateLimits(1, 60));
    film.addNoise(1);
    film.session->invalidate();
    film.addNoise(1);
    film.session->completeFrames();
    EXPECT_EQ(film.passedOver(), (std::vector{1, 4, 5}));
    EXPECT_FALSE(film.session->prepareToEncode());
}

TEST(Compression, SessionsInUseByManyThreadsEndWhole) {
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
