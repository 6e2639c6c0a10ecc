#include "platform/h264/BlockQuality.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace platform::h264 {
namespace {

/// The pixels of a macroblock, as far as they are inside the frame.
struct Place {
    const std::uint8_t* pixels;
    int bytesPerRow;
    int width;
    int height;

    const std::uint8_t* row(int y) const {
        return pixels + static_cast<std::ptrdiff_t>(y) * bytesPerRow;
    }
};

Place place(const PixelBuffer& frame, int column, int row, int rowsMoved = 0) {
    const auto& plane = frame.plane(0);
    const int x = column * macroblockSize;
    const int y = row * macroblockSize;
    return {plane.data + static_cast<std::ptrdiff_t>(y - rowsMoved) * plane.bytesPerRow + x,
            plane.bytesPerRow, std::min(macroblockSize, plane.width - x),
            std::min(macroblockSize, plane.height - y)};
}

/// Every second row tells as much as all of them.
constexpr int rowStep = 2;

std::uint32_t difference(const std::uint8_t* a, const std::uint8_t* b, int count) {
    std::uint32_t sum = 0;
    for (int x = 0; x < count; ++x)
        sum += static_cast<std::uint32_t>(std::abs(a[x] - b[x]));
    return sum;
}

/// With the width known, the compiler makes one step of each row.
std::uint32_t busynessOf(const Place& block, int width) {
    std::uint32_t sum = 0;
    for (int y = 0; y + 1 < block.height; y += rowStep)
        sum += difference(block.row(y), block.row(y) + 1, width - 1) +
               difference(block.row(y), block.row(y + 1), width);
    return sum * rowStep;
}

std::uint32_t difference(const Place& a, const Place& b, int width) {
    std::uint32_t sum = 0;
    for (int y = 0; y < a.height; y += rowStep)
        sum += difference(a.row(y), b.row(y), width);
    return sum * rowStep;
}

std::uint32_t busynessOf(const Place& block) {
    return block.width == macroblockSize ? busynessOf(block, macroblockSize)
                                         : busynessOf(block, block.width);
}

std::uint32_t difference(const Place& a, const Place& b) {
    return a.width == macroblockSize ? difference(a, b, macroblockSize) : difference(a, b, a.width);
}

bool same(const Place& a, const Place& b) {
    for (int y = 0; y < a.height; ++y)
        if (std::memcmp(a.row(y), b.row(y), static_cast<std::size_t>(a.width)) != 0)
            return false;
    return true;
}

} // namespace

BlockQuality::BlockQuality(int width, int height)
    : columns(macroblocks(width)),
      rows(macroblocks(height)),
      lastBlocks(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)) {}

void BlockQuality::assess(const PixelBuffer* before, const PixelBuffer& now,
                          std::span<const std::uint8_t> constant, const picture::Shift& shift) {
    const int rowsMoved = shift.framesAgo == 1 ? shift.rows : 0;
    blocks = lastBlocks;
    current = {};
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column) {
            const auto index = static_cast<std::size_t>(row * columns + column);
            if (!before || !constant[index])
                assessBlock(before, now, column, row, rowsMoved);
            else
                blocks[index].fresh = false;
            if (const auto& block = blocks[index]; !block.fresh)
                current.known[block.quantiser] += block.busyness;
        }
    if (shift.framesAgo > 1)
        takeFromEarlier(shift);
    moved = shift;
}

/// Frames before the last are not at hand any more, so this goes by shares.
void BlockQuality::takeFromEarlier(const picture::Shift& shift) {
    const auto share = [&](std::int64_t sum) {
        return static_cast<std::int64_t>(static_cast<double>(sum) * shift.share);
    };
    std::int64_t busyness = 0;
    for (const auto& block : blocks)
        if (block.fresh)
            busyness += block.busyness;
    const auto then = std::lround(changedQuantiser(shift.framesAgo));
    current.known[static_cast<std::size_t>(then)] += share(busyness);
    current.fresh -= share(current.fresh);
}

void BlockQuality::assessBlock(const PixelBuffer* before, const PixelBuffer& now, int column,
                               int row, int rowsMoved) {
    const auto here = place(now, column, row);
    auto& block = blocks[static_cast<std::size_t>(row * columns + column)];
    block = {.busyness = busynessOf(here)};
    if (!before) {
        current.fresh += block.busyness;
        return;
    }
    const int from = row * macroblockSize - rowsMoved;
    if (rowsMoved != 0 && from >= 0 && from + here.height <= now.height() &&
        same(here, place(*before, column, row, rowsMoved))) {
        block.quantiser = std::max(quantiserBefore(column, from),
                                   quantiserBefore(column, from + here.height - 1));
        block.fresh = false;
        return;
    }
    current.fresh += std::min(block.busyness, difference(here, place(*before, column, row)));
}

std::uint8_t BlockQuality::quantiserBefore(int column, int y) const {
    return lastBlocks[static_cast<std::size_t>(y / macroblockSize * columns + column)].quantiser;
}

void BlockQuality::encoded(int quantiser) {
    const auto used = static_cast<std::uint8_t>(quantiser);
    double ofChanged = quantiser;
    if (moved.framesAgo > 1)
        ofChanged -= moved.share * std::max(quantiser - changedQuantiser(moved.framesAgo), 0.0);
    changedQuantiser(0) = ofChanged;
    for (auto& block : blocks)
        block.quantiser = block.fresh ? static_cast<std::uint8_t>(std::lround(ofChanged))
                                      : std::min(block.quantiser, used);
    lastBlocks.swap(blocks);
    ++frames;
}

} // namespace platform::h264
