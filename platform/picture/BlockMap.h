#pragma once

#include "platform/PixelBuffer.h"
#include "platform/picture/Area.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform::picture {

/// A set of a frame's macroblocks, such as the dirty ones.
class BlockMap {
public:
    /// For a frame of this size in pixels; without any block.
    BlockMap(int width, int height);

    void clear();
    void markAll();
    /// Marks every block the area touches. What is outside the frame does not count.
    void mark(const Area& area);
    void markBlock(int column, int row) { blocks[index(column, row)] = 1; }
    /// Marks what `other` has marked; of the same size.
    void add(const BlockMap& other);

    bool empty() const;
    /// Whether it has all that `other` has; of the same size.
    bool includes(const BlockMap& other) const;
    bool has(int column, int row) const { return blocks[index(column, row)] != 0; }
    /// One byte for each block, row by row: 0 or 1.
    const std::vector<std::uint8_t>& bytes() const { return blocks; }

    /// Calls `action(area)` for the marked blocks, joined along their rows, from the top.
    template<class Action>
    void forEachRun(Action action) const {
        for (int row = 0; row < rows; ++row)
            for (auto run = nextRun(row, 0); run.begin < columns; run = nextRun(row, run.end))
                action(area(run, row));
    }

    /// Fills `areas` with at most `limit` areas (at least 1) that don't overlap, in pixels, clipped
    /// to the frame. They cover the marked blocks and no others, unless that takes more areas:
    /// then the extents of each band of rows, or of everything.
    void cover(std::vector<Area>& areas, std::size_t limit) const;

private:
    struct Run {
        int begin;
        int end;
    };
    std::size_t index(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
               static_cast<std::size_t>(column);
    }
    Run nextRun(int row, int from) const;
    Area area(Run run, int row) const;
    bool coverExactly(std::vector<Area>& areas, std::size_t limit) const;
    void coverBands(std::vector<Area>& areas) const;

    int width;
    int height;
    int columns;
    int rows;
    std::vector<std::uint8_t> blocks;
};

} // namespace platform::picture
