#include "platform/PixelTransfer.h"
#include "platform/picture/VideoConverter.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>

using namespace platform;

namespace {

using Sizes = std::array<int, 4>; // Width and height of the source, and of the target.

std::uint8_t* rowOf(const PixelBuffer& frame, int plane, int row) {
    const auto& samples = frame.plane(plane);
    return samples.data + static_cast<std::ptrdiff_t>(row) * samples.bytesPerRow;
}

void scribble(const PixelBuffer& frame, Area area, std::mt19937& random) {
    for (int y = area.y; y < area.bottom(); ++y)
        std::generate_n(rowOf(frame, 0, y) + area.x * 4, area.width * 4,
                        [&] { return static_cast<std::uint8_t>(random()); });
}

FrameView view(const PixelBuffer& frame) {
    return {frame.plane(0).data, frame.plane(0).bytesPerRow, frame.width(), frame.height()};
}

/// The average of the source's greys over the area that a target pixel covers.
double average(const PixelBuffer& source, const PixelBuffer& target, int x, int y) {
    const double ratioX = 1.0 * source.width() / target.width();
    const double ratioY = 1.0 * source.height() / target.height();
    double sum = 0;
    for (int row = static_cast<int>(y * ratioY); row < (y + 1) * ratioY; ++row)
        for (int column = static_cast<int>(x * ratioX); column < (x + 1) * ratioX; ++column)
            sum += rowOf(source, 0, std::min(row, source.height() - 1))[column * 4] *
                   (std::min(column + 1.0, (x + 1) * ratioX) - std::max(1.0 * column, x * ratioX)) *
                   (std::min(row + 1.0, (y + 1) * ratioY) - std::max(1.0 * row, y * ratioY));
    return sum / ratioX / ratioY;
}

bool same(const PixelBuffer& one, const PixelBuffer& other) {
    for (const int plane : {0, 1})
        for (int row = 0; row < one.plane(plane).height; ++row)
            if (std::memcmp(rowOf(one, plane, row), rowOf(other, plane, row),
                            static_cast<std::size_t>(one.width())) != 0)
                return false;
    return true;
}

} // namespace

TEST(PixelTransfer, ItsFramesAreAsIfMadeAnewAndTellWhatChanged) {
    std::mt19937 random(1);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    for (const auto& [width, height, targetWidth, targetHeight] : {Sizes{330, 206, 330, 206},
                                                                   {1365, 70, 1364, 70},
                                                                   {640, 412, 320, 206},
                                                                   {427, 311, 320, 206},
                                                                   {90, 50, 320, 178}}) {
        const PixelBuffer source(PixelFormat::bgra, width, height);
        PixelTransferSession session;
        session.setSizes(width, height, targetWidth, targetHeight);
        scribble(source, {0, 0, width, height}, random);
        std::vector<ImageBuffer> kept{session.transfer(view(source))};
        for (int round = 0; round < 30; ++round) {
            Area part{below(width), below(height), 0, 0};
            part.width = 1 + below(std::min(width - part.x, 1 + 20 * round));
            part.height = 1 + below(std::min(height - part.y, 20));
            scribble(source, part, random);
            session.changed(part);
            session.changed({-9, height, 9, 60000}); // Outside does not count.
            const auto frame = session.transfer(view(source));
            PixelTransferSession fresh;
            fresh.setSizes(width, height, targetWidth, targetHeight);
            ASSERT_TRUE(frame && same(*frame, *fresh.transfer(view(source)))) << targetWidth;
            EXPECT_EQ(frame->changes.predecessor, kept.back()->changes.serial);
            EXPECT_TRUE(std::ranges::count(frame->changes.changedBlocks, 0));
            kept.push_back(frame);
            // So that memory comes back older than the last frame, and now and then much older.
            if (kept.size() > 3)
                kept.erase(kept.begin() + (round % 10 != 9));
        }
    }
}

TEST(PixelTransfer, TriesAgainWhereMemoryHadRunOut) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer ends the process without memory";
#endif
    // The frame takes more than malloc keeps of what other tests have freed, which is 64 MiB.
    const PixelBuffer source(PixelFormat::bgra, 16384, 4096);
    PixelTransferSession session;
    session.setSizes(16384, 4096, 16384, 4096);
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_AS, &none);
    const auto without = session.transfer(view(source));
    setrlimit(RLIMIT_AS, &before);
    EXPECT_FALSE(without);
    EXPECT_TRUE(session.transfer(view(source)));
}

TEST(VideoConverter, AGreyIsTheAverageOfWhatItCoversAndHasNoColour) {
    std::mt19937 random(2);
    for (const auto& [width, height, targetWidth, targetHeight] : {Sizes{64, 32, 64, 32},
                                                                   {256, 64, 128, 32},
                                                                   {640, 90, 480, 66},
                                                                   {43, 21, 100, 50},
                                                                   {8192, 12, 1920, 2},
                                                                   {1, 1, 2, 2}}) {
        const PixelBuffer source(PixelFormat::bgra, width, height);
        for (int row = 0; row < height; ++row)
            for (int x = 0; x < width; ++x)
                std::fill_n(rowOf(source, 0, row) + x * 4, 4, static_cast<std::uint8_t>(random()));
        const PixelBuffer target(PixelFormat::video420, targetWidth, targetHeight);
        picture::VideoConverter converter(width, height, targetWidth, targetHeight);
        converter.convert(view(source), {target, {0, 0, targetWidth, targetHeight}},
                          {0, 0, targetWidth, targetHeight});
        for (int y = 0; y < targetHeight; ++y)
            for (int x = 0; x < targetWidth; ++x) {
                const double luma = 16 + average(source, target, x, y) * 219 / 255;
                ASSERT_NEAR(rowOf(target, 0, y)[x], luma, 3) << width << " to " << targetWidth;
                ASSERT_NEAR(rowOf(target, 1, y / 2)[x], 128, 1) << width << " to " << targetWidth;
            }
    }
}
