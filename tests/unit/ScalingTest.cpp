#include "platform/PixelTransfer.h"
#include "platform/picture/VideoConverter.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

using namespace platform;
using picture::Area;
using picture::VideoConverter;

namespace {

struct Sizes {
    int sourceWidth, sourceHeight, targetWidth, targetHeight;
};

std::ostream& operator<<(std::ostream& out, const Sizes& sizes) {
    return out << sizes.sourceWidth << 'x' << sizes.sourceHeight << " to " << sizes.targetWidth
               << 'x' << sizes.targetHeight;
}

std::uint8_t& byteAt(const PixelBuffer& picture, int plane, int row, int byte) {
    const auto& [data, bytesPerRow, width, height] = picture.plane(plane);
    return data[static_cast<std::ptrdiff_t>(row) * bytesPerRow + byte];
}

void scribble(PixelBuffer& picture, Area area, std::mt19937& random) {
    for (int y = area.y; y < area.y + area.height; ++y)
        for (int byte = area.x * 4; byte < (area.x + area.width) * 4; ++byte)
            byteAt(picture, 0, y, byte) = static_cast<std::uint8_t>(random());
}

FrameView view(const PixelBuffer& picture) {
    return {picture.plane(0).data, picture.plane(0).bytesPerRow, picture.width(), picture.height()};
}

/// The average of a function of the source's pixels over the area that a target sample covers.
template<class Value>
double average(const Sizes& sizes, double x, double y, double extent, Value value) {
    const double ratioX = 1.0 * sizes.sourceWidth / sizes.targetWidth;
    const double ratioY = 1.0 * sizes.sourceHeight / sizes.targetHeight;
    const double left = x * ratioX,
                 right = std::min<double>((x + extent) * ratioX, sizes.sourceWidth);
    const double top = y * ratioY,
                 bottom = std::min<double>((y + extent) * ratioY, sizes.sourceHeight);
    double sum = 0;
    for (int row = static_cast<int>(top); row < bottom; ++row)
        for (int column = static_cast<int>(left); column < right; ++column)
            sum += value(column, row) *
                   (std::min<double>(column + 1, right) - std::max<double>(column, left)) *
                   (std::min<double>(row + 1, bottom) - std::max<double>(row, top));
    return sum / ((right - left) * (bottom - top));
}

double luma(const PixelBuffer& picture, int x, int y) {
    const auto channel = [&](int index) { return byteAt(picture, 0, y, x * 4 + index); };
    return 16 + (65.738 * channel(2) + 129.057 * channel(1) + 25.064 * channel(0)) / 256;
}

void convert(const PixelBuffer& source, PixelBuffer& target) {
    VideoConverter converter(source.width(), source.height(), target.width(), target.height());
    converter.convert(view(source), target, converter.wholeTarget());
}

bool samePictures(const PixelBuffer& one, const PixelBuffer& other) {
    for (const int plane : {0, 1})
        for (int row = 0; row < one.plane(plane).height; ++row)
            if (std::memcmp(&byteAt(one, plane, row, 0), &byteAt(other, plane, row, 0),
                            static_cast<std::size_t>(one.width())) != 0)
                return false;
    return true;
}

} // namespace

TEST(PixelTransfer, ItsPicturesAreAsIfMadeAnewAndTellWhatChanged) {
    std::mt19937 random(1);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    for (const Sizes sizes : {Sizes{330, 206, 330, 206},
                              {1365, 70, 1364, 70},
                              {640, 412, 320, 206},
                              {427, 311, 320, 206},
                              {90, 50, 320, 178}}) {
        PixelBuffer source(PixelFormat::bgra, sizes.sourceWidth, sizes.sourceHeight);
        PixelTransferSession session;
        EXPECT_FALSE(session.transfer(view(source))) << "no sizes yet";
        const auto setSizes = [&](PixelTransferSession& target) {
            target.setSizes(sizes.sourceWidth, sizes.sourceHeight, sizes.targetWidth,
                            sizes.targetHeight);
        };
        setSizes(session);
        EXPECT_FALSE(session.transfer(view(PixelBuffer(PixelFormat::bgra, 50, 90))));
        session.changed({-5, -5, 60000, 60000}); // Outside does not count.
        scribble(source, {0, 0, source.width(), source.height()}, random);
        std::vector<ImageBuffer> kept{session.transfer(view(source))};
        for (int round = 0; round < 30; ++round) {
            Area part{below(source.width()), below(source.height()), 0, 0};
            part.width = 1 + below(std::min(source.width() - part.x, 1 + 20 * round));
            part.height = 1 + below(std::min(source.height() - part.y, 20));
            scribble(source, part, random);
            session.changed(part);
            session.changed({-9, source.height(), 9, 9});
            const auto picture = session.transfer(view(source));
            PixelTransferSession fresh;
            setSizes(fresh);
            ASSERT_TRUE(picture && samePictures(*picture, *fresh.transfer(view(source)))) << sizes;
            EXPECT_EQ(picture->changes.predecessor, kept.back()->changes.serial);
            EXPECT_TRUE(std::ranges::count(picture->changes.changedBlocks, 0));
            kept.push_back(picture);
            if (kept.size() > 3) // So that memory comes back older than the last picture.
                kept.erase(kept.begin());
        }
    }
}

TEST(PixelTransfer, TriesAgainWhereMemoryHadRunOut) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer ends the process without memory";
#endif
    const PixelBuffer source(PixelFormat::bgra, 3840, 2160);
    PixelTransferSession session;
    session.setSizes(3840, 2160, 3840, 2160);
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_AS, &none);
    const auto without = session.transfer(view(source));
    setrlimit(RLIMIT_AS, &before);
    EXPECT_FALSE(without);
    EXPECT_TRUE(session.transfer(view(source)));
}

TEST(VideoConverter, LumaIsTheAverageOfWhatItCovers) {
    std::mt19937 random(2);
    for (const Sizes sizes : {Sizes{64, 32, 64, 32},
                              {256, 64, 128, 32},
                              {1365, 33, 1364, 32},
                              {640, 90, 480, 66},
                              {43, 21, 100, 50},
                              {8192, 12, 1920, 2},
                              {5000, 3, 2, 2},
                              {3, 5, 2, 4},
                              {1, 1, 2, 2}}) {
        PixelBuffer source(PixelFormat::bgra, sizes.sourceWidth, sizes.sourceHeight);
        scribble(source, {0, 0, source.width(), source.height()}, random);
        PixelBuffer target(PixelFormat::video420, sizes.targetWidth, sizes.targetHeight);
        convert(source, target);
        double worst = 0;
        for (int y = 0; y < target.height(); ++y)
            for (int x = 0; x < target.width(); ++x) {
                const double expected = average(
                    sizes, x, y, 1, [&](int column, int row) { return luma(source, column, row); });
                worst = std::max(worst, std::abs(expected - byteAt(target, 0, y, x)));
            }
        EXPECT_LT(worst, 3) << sizes;
    }
}

TEST(VideoConverter, GreysHaveNoColourAndFlatAreasStayFlat) {
    for (const Sizes sizes : {Sizes{64, 48, 64, 48},
                              {640, 480, 320, 240},
                              {1365, 767, 1364, 766},
                              {4000, 1000, 30, 8}}) {
        PixelBuffer source(PixelFormat::bgra, sizes.sourceWidth, sizes.sourceHeight);
        std::memset(source.plane(0).data, 255,
                    static_cast<std::size_t>(source.plane(0).bytesPerRow) *
                        static_cast<std::size_t>(source.height()));
        PixelBuffer target(PixelFormat::video420, sizes.targetWidth, sizes.targetHeight);
        convert(source, target);
        for (int y = 0; y < target.height(); ++y)
            for (int x = 0; x < target.width(); ++x) {
                ASSERT_EQ(byteAt(target, 0, y, x), 235) << sizes;
                ASSERT_EQ(byteAt(target, 1, y / 2, x), 128) << sizes;
            }
    }
}
