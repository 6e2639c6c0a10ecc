#include "local/VideoPayload.h"
#include "platform/VideoCompression.h"
#include "support/Decoder.h"
#include "support/Frames.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace platform;
using namespace std::chrono_literals;
using test::Decoded;

namespace {

/// Encodes frames into one byte stream.
struct Film {
    Film(int width, int height, std::int64_t bitsPerSecond = 1'000'000)
        : session(CompressionSession::create(width, height)) {
        session->setAverageBitRate(bitsPerSecond);
        session->setMaxAllowedFrameQP(36);
    }
    void add(const ImageBuffer& frame, bool key = false, std::chrono::milliseconds after = 33ms) {
        time = time + after;
        session->encodeFrame(frame, time, {.forceKeyFrame = key}, [this](const auto* sample) {
            if (!sample)
                return;
            const test::Frame video{orvel::FrameType::video, orvel::videoPayload(*sample)};
            const auto unit = test::accessUnit(video);
            stream.insert(stream.end(), unit.begin(), unit.end());
        });
    }
    std::unique_ptr<CompressionSession> session;
    std::vector<std::uint8_t> stream;
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
    const auto pictures = test::decode(film.stream, 64, 48, Decoded::bgra);
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
    const auto said = test::probe(film.stream);
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
        const auto decoded = test::decode(film.stream, width, height, Decoded::bgra);
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
        frame->changes.serial = nextPictureSerial();
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
    const auto decoded = test::decode(film.stream, width, height, Decoded::luma);
    ASSERT_EQ(decoded.size(), 5u);
    EXPECT_LT(meanError(decoded[1], *still), meanError(decoded[0], *still) / 3);
    EXPECT_LT(meanError(decoded[3], *still), meanError(decoded[1], *still) * 0.7);
    EXPECT_LT(meanError(decoded[4], *last), meanError(decoded[3], *last) / 3);
}
