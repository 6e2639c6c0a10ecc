#include "platform/picture/DirtyBlocks.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace platform::picture {
namespace {

constexpr int bytesPerPixel = 4;
constexpr int blockBytes = macroblockSize * bytesPerPixel;

/// Compares one row of a whole block; written so that the compiler makes a few vector
/// instructions of it, where a call of memcmp would cost more than the comparison.
bool blockRowsDiffer(const std::uint8_t* a, const std::uint8_t* b) {
    std::uint64_t difference = 0;
    for (int at = 0; at < blockBytes; at += 8) {
        std::uint64_t wordA = 0;
        std::uint64_t wordB = 0;
        std::memcpy(&wordA, a + at, sizeof wordA);
        std::memcpy(&wordB, b + at, sizeof wordB);
        difference |= wordA ^ wordB;
    }
    return difference != 0;
}

bool differ(const std::uint8_t* a, const std::uint8_t* b, int bytes) {
    return bytes == blockBytes ? blockRowsDiffer(a, b)
                               : std::memcmp(a, b, static_cast<std::size_t>(bytes)) != 0;
}

/// Calls `action(column, firstByte, bytes)` for each block column of the area, counting bytes from
/// the area's left edge.
template<class Action>
void forColumns(const Area& area, Action action) {
    for (int x = area.x; x < area.right();) {
        const int column = x / macroblockSize;
        const int end = std::min((column + 1) * macroblockSize, area.right());
        action(column, (x - area.x) * bytesPerPixel, (end - x) * bytesPerPixel);
        x = end;
    }
}

} // namespace

void findDirtyBlocks(const std::uint8_t* a, int bytesPerRowA, const std::uint8_t* b,
                     int bytesPerRowB, const Area& area, BlockMap& dirty) {
    for (int y = area.y; y < area.bottom(); ++y, a += bytesPerRowA, b += bytesPerRowB) {
        const int row = y / macroblockSize;
        forColumns(area, [&](int column, int first, int bytes) {
            if (!dirty.has(column, row) && differ(a + first, b + first, bytes))
                dirty.markBlock(column, row);
        });
    }
}

void replaceArea(const MutableFrameView& frame, const Area& area, const std::uint8_t* fresh,
                 int bytesPerRow, BlockMap& dirty) {
    findDirtyBlocks(fresh, bytesPerRow, frame.at(area.x, area.y), frame.bytesPerRow, area, dirty);
    for (int y = area.y; y < area.bottom(); ++y, fresh += bytesPerRow) {
        auto* const old = frame.at(area.x, y);
        forColumns(area, [&](int column, int first, int bytes) {
            if (dirty.has(column, y / macroblockSize))
                std::memcpy(old + first, fresh + first, static_cast<std::size_t>(bytes));
        });
    }
}

void fillArea(const MutableFrameView& frame, const Area& area, std::uint32_t colour,
              BlockMap& dirty) {
    const std::vector<std::uint32_t> row(static_cast<std::size_t>(area.width), colour);
    constexpr int sameRowAgain = 0; // bytes to the next row
    replaceArea(frame, area, reinterpret_cast<const std::uint8_t*>(row.data()), sameRowAgain,
                dirty);
}

} // namespace platform::picture
