#include "platform/picture/DirtyBlocks.h"

#include <algorithm>
#include <cstring>

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

void copyBlocks(const std::uint8_t* from, int bytesPerRowFrom, std::uint8_t* to, int bytesPerRowTo,
                const Area& area, const BlockMap& marked) {
    for (int y = area.y; y < area.bottom(); ++y, from += bytesPerRowFrom, to += bytesPerRowTo) {
        const int row = y / macroblockSize;
        forColumns(area, [&](int column, int first, int bytes) {
            if (marked.has(column, row))
                std::memcpy(to + first, from + first, static_cast<std::size_t>(bytes));
        });
    }
}

} // namespace platform::picture
