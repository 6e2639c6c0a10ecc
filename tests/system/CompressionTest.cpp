#include "local/VideoPayload.h"
#include "platform/VideoCompression.h"
#include "support/Decoder.h"
#include "support/Frames.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

using namespace platform;
using test::Decoded;

namespace {

/// Encodes pictures into one byte stream.
class Recording {
public:
    Recording(int width, int height, std::int64_t bitsPerSecond = 4'000'000)
        : session(CompressionSession::create(width, height)) {
        session->setExpectedFrameRate(30);
        session->setAverageBitRate(bitsPerSecond);
        session->setMaxAllowedFrameQP(36);
    }

    void add(const ImageBuffer& picture, bool key = false,
             std::chrono::milliseconds after = std::chrono::milliseconds(33)) {
        time = time + after;
        session->encodeFrame(picture, time, {.forceKeyFrame = key},
                             [this](const EncodedSample* sample) {
                                 if (sample)
                                     append(*sample);
                             });
    }

    std::unique_ptr<CompressionSession> session;
    std::vector<std::uint8_t> stream;

private:
    void append(const EncodedSample& sample) {
        const test::Frame frame{orvel::FrameType::video, orvel::videoPayload(sample)};
        const auto unit = test::accessUnit(frame);
        stream.insert(stream.end(), unit.begin(), unit.end());
    }

    MediaTime time;
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

/// Has the picture say that it follows the one before and differs from it in these rows of blocks.
void follow(PixelBuffer& picture, std::uint64_t& before, int firstRow, int rows) {
    const auto width = macroblocks(picture.width());
    picture.changes.serial = nextPictureSerial();
    picture.changes.predecessor = std::exchange(before, picture.changes.serial);
    auto& changed = picture.changes.changedBlocks;
    changed.assign(static_cast<std::size_t>(width * macroblocks(picture.height())), 0);
    std::fill_n(changed.begin() + static_cast<std::ptrdiff_t>(firstRow) * width, rows * width, 1);
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
    const std::vector<std::uint32_t> colours{0xff0000, 0x00ff00, 0x0000ff, 0xffff00, 0x00ffff,
                                             0xff00ff, 0xffffff, 0x000000, 0x808080, 0xc04020};
    Recording recording(64, 48);
    for (const auto colour : colours)
        recording.add(test::painted(64, 48, [&](int, int) { return colour; }), true);
    const auto pictures = test::decode(recording.stream, 64, 48, Decoded::bgra);
    ASSERT_EQ(pictures.size(), colours.size());
    for (std::size_t i = 0; i < colours.size(); ++i)
        for (const int channel : {0, 1, 2})
            EXPECT_NEAR(pictures[i].at(30, 20)[static_cast<std::size_t>(channel)],
                        static_cast<int>(colours[i] >> channel * 8 & 255), 3)
                << std::hex << colours[i];
}

TEST(Compression, TheStreamSaysWhatItIs) {
    Recording recording(1364, 766);
    for (int i = 0; i < 4; ++i)
        recording.add(test::noise(1364, 766, static_cast<unsigned>(i)), i == 2);
    const auto said = test::probe(recording.stream);
    for (const auto* line : {"profile=High\n", "has_b_frames=0\n", "width=1364\n", "height=766\n",
                             "pix_fmt=yuv420p\n", "color_range=tv\n", "color_space=smpte170m\n",
                             "color_primaries=bt709\n", "color_transfer=bt709\n", "refs=1\n"})
        EXPECT_NE(said.find(line), std::string::npos) << line << said;
    std::string types;
    for (auto at = said.find("pict_type="); at != std::string::npos;
         at = said.find("pict_type=", at + 1))
        types += said[at + std::strlen("pict_type=")];
    EXPECT_EQ(types, "IPIP");
}

TEST(Compression, OddlyEvenAndVeryLargeSizesDecode) {
    for (const auto& [width, height] : {std::pair{2, 2}, {320, 206}, {1364, 766}, {4096, 2304}}) {
        Recording recording(width, height);
        // The last column and row stand out, so that a lost one is seen.
        const auto picture = test::painted(width, height, [&, w = width, h = height](int x, int y) {
            return x >= w - 2 || y >= h - 2 ? 0xffffffu : 0x204060u;
        });
        recording.add(picture);
        const auto decoded = test::decode(recording.stream, width, height, Decoded::bgra);
        ASSERT_EQ(decoded.size(), 1u) << width << 'x' << height;
        EXPECT_NEAR(decoded[0].at(width / 2 - 1, height / 2 - 1)[1], width > 2 ? 0x40 : 0xff, 4);
        EXPECT_GT(decoded[0].at(width - 1, 0)[1], 200);
        EXPECT_GT(decoded[0].at(0, height - 1)[1], 200);
    }
}

TEST(Compression, WithTheMapOfChangesTheDecodedPicturesAreAsGood) {
    constexpr int width = 320, height = 206;
    Recording mapped(width, height), plain(width, height);
    std::vector<ImageBuffer> pictures;
    std::uint64_t before = 0;
    for (int i = 0; i < 30; ++i) {
        // The desktop scrolls in its upper half only.
        const auto picture = test::painted(
            width, height, [&](int x, int y) { return desktop(x, y, y < 96 ? i : 0); });
        plain.add(picture);
        follow(*picture, before, 0, 6);
        mapped.add(picture);
        pictures.push_back(picture);
    }
    const auto withMap = test::decode(mapped.stream, width, height, Decoded::luma);
    const auto without = test::decode(plain.stream, width, height, Decoded::luma);
    ASSERT_EQ(withMap.size(), pictures.size());
    ASSERT_EQ(without.size(), pictures.size());
    for (std::size_t i = 0; i < pictures.size(); ++i)
        EXPECT_LT(meanError(withMap[i], *pictures[i]), meanError(without[i], *pictures[i]) + 1)
            << "picture " << i;
}

TEST(Compression, AStillScreenSettlesWithinItsTwoRefreshes) {
    constexpr int width = 640, height = 400;
    Recording recording(width, height, 1'500'000);
    const auto picture =
        test::painted(width, height, [](int x, int y) { return desktop(x % 320, y, 0); });
    // Its macroblocks are all known to be constant, and are refined nevertheless.
    picture->changes.serial = nextPictureSerial();
    recording.add(picture);
    recording.add(picture, false, std::chrono::milliseconds(300));
    recording.add(picture, false, std::chrono::milliseconds(900));
    const auto decoded = test::decode(recording.stream, width, height, Decoded::luma);
    ASSERT_EQ(decoded.size(), 3u);
    EXPECT_LT(meanError(decoded[2], *picture), meanError(decoded[0], *picture) / 2);
}

TEST(Compression, WhatChangedInPassedOverPicturesIsNotForgotten) {
    constexpr int width = 320, height = 208;
    Recording recording(width, height);
    // After the first picture there is no room, until the end.
    recording.session->setDataRateLimits(1, 60);
    std::uint64_t before = 0;
    std::shared_ptr<PixelBuffer> last;
    for (int i = 0; i < 4; ++i) {
        // Each picture changes one more row of blocks, and says no more than that.
        last = test::painted(width, height,
                             [&](int x, int y) { return desktop(x, y, y / 16 < i ? 7 : 0); });
        follow(*last, before, std::max(i - 1, 0), i > 0 ? 1 : 0);
        recording.add(last);
    }
    recording.session->completeFrames();
    const auto decoded = test::decode(recording.stream, width, height, Decoded::luma);
    ASSERT_EQ(decoded.size(), 2u);
    EXPECT_LT(meanError(decoded[1], *last), meanError(decoded[0], *last) / 3);
}
