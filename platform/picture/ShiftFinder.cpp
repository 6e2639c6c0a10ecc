#include "platform/picture/ShiftFinder.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

namespace platform::picture {
namespace {

/// Wide enough that two lines of text seldom look alike in it.
constexpr int stripBlocks = 4;
constexpr int stripWidth = stripBlocks * macroblockSize;
/// Every second one of them tells enough.
constexpr int blocksBetweenStrips = 2 * stripBlocks;

/// Fewer rows that stand out are too little to look for.
constexpr int minRows = 32;
/// Fewer that agree are chance.
constexpr int minShare = 6;

/// In rows times frames: to look farther takes an encoder longer than what is new takes to send.
constexpr int maxEffort = 600;

constexpr std::int32_t severalRows = -1;

/// 0 for a row of a single shade, which could have come from anywhere.
std::uint32_t hashOfRow(const std::uint8_t* row) {
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15;
    std::array<std::uint64_t, stripWidth / 8> words;
    std::memcpy(words.data(), row, stripWidth);
    if (std::ranges::count(words, row[0] * 0x0101010101010101u) == std::ssize(words))
        return 0;
    std::uint64_t hash = 0;
    for (const auto word : words) {
        hash = (hash ^ word) * factor;
        hash ^= hash >> 32;
    }
    return static_cast<std::uint32_t>(hash) | 1;
}

} // namespace

ShiftFinder::ShiftFinder(int width, int height)
    : columns(macroblocks(width)),
      height(height),
      strips(static_cast<std::size_t>(width / stripWidth + 1) / 2),
      slotsOfStrip(std::bit_ceil(static_cast<std::size_t>(height) * 2)),
      changed(strips * static_cast<std::size_t>(height)),
      table(strips * slotsOfStrip),
      votes(static_cast<std::size_t>(2 * height)) {
    for (auto& frame : history)
        frame.resize(strips * static_cast<std::size_t>(height));
}

void ShiftFinder::startOver() {
    // Where nothing changes, the next frame still has the hashes of the last one.
    const auto last = hashes(1);
    count = 0;
    hashes(1) = last;
}

Shift ShiftFinder::find(const PixelBuffer& frame, std::span<const std::uint8_t> constant) {
    if (hashChanges(frame, constant) < minRows)
        return {};
    tabulate();
    for (int framesAgo = 1; framesAgo <= maxFramesAgo; ++framesAgo)
        if (const auto shift = shiftSince(framesAgo); shift.framesAgo != 0)
            return shift;
    return {};
}

/// Returns how many rows of strips changed.
int ShiftFinder::hashChanges(const PixelBuffer& frame, std::span<const std::uint8_t> constant) {
    hashes(0) = hashes(1);
    std::ranges::fill(changed, 0);
    int rowsChanged = 0;
    const auto& luma = frame.plane(0);
    for (std::size_t strip = 0; strip < strips; ++strip) {
        const int left = static_cast<int>(strip) * blocksBetweenStrips;
        for (int y = 0; y < height; ++y) {
            const auto* blocks =
                &constant[static_cast<std::size_t>(y / macroblockSize * columns + left)];
            if (std::count(blocks, blocks + stripBlocks, 0) == 0) {
                y |= macroblockSize - 1; // To the next row of blocks.
                continue;
            }
            const auto index =
                strip * static_cast<std::size_t>(height) + static_cast<std::size_t>(y);
            hashes(0)[index] =
                hashOfRow(luma.data + static_cast<std::ptrdiff_t>(y) * luma.bytesPerRow +
                          static_cast<std::ptrdiff_t>(left) * macroblockSize);
            changed[index] = 1;
            ++rowsChanged;
        }
    }
    return rowsChanged;
}

ShiftFinder::Slot& ShiftFinder::slot(std::size_t strip, std::uint32_t hash) {
    auto* const slots = &table[strip * slotsOfStrip];
    auto at = hash >> 1 & (slotsOfStrip - 1);
    while (slots[at].hash != 0 && slots[at].hash != hash)
        at = (at + 1) & (slotsOfStrip - 1);
    return slots[at];
}

void ShiftFinder::tabulate() {
    std::ranges::fill(table, Slot{});
    standingOut = 0;
    const auto& now = hashes(0);
    for (std::size_t strip = 0; strip < strips; ++strip)
        for (int y = 0; y < height; ++y) {
            const auto index =
                strip * static_cast<std::size_t>(height) + static_cast<std::size_t>(y);
            if (!changed[index] || now[index] == 0)
                continue;
            ++standingOut;
            auto& entry = slot(strip, now[index]);
            entry = {now[index], entry.hash != 0 ? severalRows : y};
        }
}

Shift ShiftFinder::shiftSince(int framesAgo) {
    if (framesAgo > count || standingOut < minRows)
        return {};
    std::ranges::fill(votes, 0);
    const auto& then = hashes(framesAgo);
    for (std::size_t strip = 0; strip < strips; ++strip)
        for (int y = 0; y < height; ++y) {
            const auto index =
                strip * static_cast<std::size_t>(height) + static_cast<std::size_t>(y);
            if (then[index] == 0)
                continue;
            const auto& entry = slot(strip, then[index]);
            if (entry.hash != 0 && entry.row != severalRows)
                ++votes[static_cast<std::size_t>(entry.row - y + height)];
        }
    if (framesAgo == 1) // What has not moved tells nothing of where the rest is.
        votes[static_cast<std::size_t>(height)] = 0;
    const auto best = std::ranges::max_element(votes);
    const int rows = static_cast<int>(best - votes.begin()) - height;
    if (*best * minShare < standingOut || (framesAgo > 1 && framesAgo * std::abs(rows) > maxEffort))
        return {};
    return {framesAgo, rows, std::min(1.0, static_cast<double>(*best) / standingOut)};
}

} // namespace platform::picture
