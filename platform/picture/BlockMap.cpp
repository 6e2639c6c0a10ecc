#include "platform/picture/BlockMap.h"

#include <algorithm>

namespace platform::picture {

BlockMap::BlockMap(int width, int height)
    : width(width),
      height(height),
      columns(macroblocks(width)),
      rows(macroblocks(height)),
      blocks(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)) {}

void BlockMap::clear() {
    std::ranges::fill(blocks, std::uint8_t{0});
}

void BlockMap::markAll() {
    std::ranges::fill(blocks, std::uint8_t{1});
}

void BlockMap::mark(const Area& area) {
    const Area inside = intersection(area, {0, 0, width, height});
    if (inside.empty())
        return;
    const int firstColumn = inside.x / macroblockSize;
    const int endColumn = macroblocks(inside.right());
    for (int row = inside.y / macroblockSize; row < macroblocks(inside.bottom()); ++row)
        std::fill_n(blocks.begin() + static_cast<std::ptrdiff_t>(index(firstColumn, row)),
                    endColumn - firstColumn, std::uint8_t{1});
}

void BlockMap::add(const BlockMap& other) {
    std::ranges::transform(blocks, other.blocks, blocks.begin(),
                           [](std::uint8_t a, std::uint8_t b) { return a | b; });
}

bool BlockMap::empty() const {
    return std::ranges::find(blocks, std::uint8_t{1}) == blocks.end();
}

bool BlockMap::includes(const BlockMap& other) const {
    return std::ranges::equal(blocks, other.blocks, std::ranges::greater_equal());
}

BlockMap::Run BlockMap::nextRun(int row, int from) const {
    const auto rowBegin = blocks.begin() + static_cast<std::ptrdiff_t>(index(0, row));
    const auto rowEnd = rowBegin + columns;
    const auto begin = std::find(rowBegin + from, rowEnd, std::uint8_t{1});
    const auto end = std::find(begin, rowEnd, std::uint8_t{0});
    return {static_cast<int>(begin - rowBegin), static_cast<int>(end - rowBegin)};
}

Area BlockMap::area(Run run, int row) const {
    return intersection({run.begin * macroblockSize, row * macroblockSize,
                         (run.end - run.begin) * macroblockSize, macroblockSize},
                        {0, 0, width, height});
}

bool BlockMap::coverExactly(std::vector<Area>& areas, std::size_t limit) const {
    areas.clear();
    for (int row = 0; row < rows; ++row) {
        for (auto run = nextRun(row, 0); run.begin < columns; run = nextRun(row, run.end)) {
            const Area next = area(run, row);
            const auto above = std::ranges::find_if(areas, [&](const Area& each) {
                return each.x == next.x && each.width == next.width && each.bottom() == next.y;
            });
            if (above != areas.end())
                above->height += next.height;
            else if (areas.size() == limit)
                return false;
            else
                areas.push_back(next);
        }
    }
    return true;
}

void BlockMap::coverBands(std::vector<Area>& areas) const {
    areas.clear();
    forEachRun([&](const Area& next) {
        if (!areas.empty() && areas.back().bottom() >= next.y)
            areas.back() = extents(areas.back(), next);
        else
            areas.push_back(next);
    });
}

void BlockMap::cover(std::vector<Area>& areas, std::size_t limit) const {
    if (coverExactly(areas, limit))
        return;
    coverBands(areas);
    if (areas.size() <= limit)
        return;
    Area all = areas.front();
    for (const auto& each : areas)
        all = extents(all, each);
    areas.assign(1, all);
}

} // namespace platform::picture
