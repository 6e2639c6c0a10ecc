#include "platform/picture/CursorPainter.h"

#include <gtest/gtest.h>

#include <array>

using namespace platform::picture;
using platform::MutableFrameView;

TEST(CursorPainter, BlendsWhatIsInsideTheFrameAndRestoresWhatWasBelow) {
    using Row = std::array<std::uint32_t, 4>;
    constexpr Row untouched{0xFF204060, 0xFF204060, 0xFF204060, 0xFF204060};
    // Opaque, transparent, half (0x40 + 0x20 * 127 / 255, …), and as some programs have it: not
    // premultiplied, so that the sums are cut off.
    const CursorImage image{
        .width = 4, .height = 1, .pixels = {0xFF123456, 0x00000000, 0x80400000, 0x80FFFFFF}};
    constexpr Row blended{0xFF123456, 0xFF204060, 0xFF502030, 0xFFFFFFFF};
    for (int x = -5; x <= 5; ++x) {
        Row pixels = untouched, expected = untouched;
        for (int column = std::max(x, 0); column < std::min(x + 4, 4); ++column)
            expected.at(static_cast<std::size_t>(column)) =
                blended.at(static_cast<std::size_t>(column - x));
        const MutableFrameView frame{reinterpret_cast<std::uint8_t*>(pixels.data()), 16, 4, 1};
        CursorPainter painter;
        painter.paint(frame, image, x, 0);
        EXPECT_EQ(pixels, expected) << x;
        painter.erase(frame);
        EXPECT_EQ(pixels, untouched) << x;
    }
}
