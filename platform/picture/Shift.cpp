#include "platform/picture/Shift.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace platform::picture {
namespace {

/// Wide enough that two lines of text seldom look alike in it.
constexpr int stripBlocks = 4;
constexpr int stripWidth = stripBlocks * macroblockSize;
constexpr std::size_t maxStrips = 4;
constexpr int minStripBlocks = 4; // In height; what is lower is not worth a search.

/// Blocks of which the whole width of the strip changed, from the first to behind the last.
struct Strip {
    int left = 0;
    int top = 0;
    int bottom = 0;
    int height() const { return bottom - top; }
};

/// The strips that have most changed in them.
std::vector<Strip> changedStrips(const PixelBuffer& now, std::span<const std::uint8_t> constant) {
    const int columns = macroblocks(now.width());
    const int rows = macroblocks(now.height());
    std::vector<Strip> strips;
    for (int left = 0; left + stripBlocks <= columns; left += stripBlocks) {
        Strip strip{.left = left * macroblockSize};
        for (int row = 0; row < rows; ++row) {
            const auto* blocks = &constant[static_cast<std::size_t>(row * columns + left)];
            if (std::count(blocks, blocks + stripBlocks, 0) < stripBlocks)
                continue;
            if (strip.bottom == 0)
                strip.top = row * macroblockSize;
            strip.bottom = std::min((row + 1) * macroblockSize, now.height());
        }
        if (strip.height() >= minStripBlocks * macroblockSize &&
            strip.left + stripWidth <= now.width())
            strips.push_back(strip);
    }
    // Spread over the screen, since a strip can show a blank margin.
    if (strips.size() > maxStrips) {
        std::vector<Strip> some;
        for (std::size_t i = 0; i < maxStrips; ++i)
            some.push_back(strips[(2 * i + 1) * strips.size() / (2 * maxStrips)]);
        strips = some;
    }
    return strips;
}

/// Of a strip's row; 0 for one of a single shade, which could have come from anywhere.
std::uint64_t hashOfRow(const std::uint8_t* row) {
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15;
    std::array<std::uint64_t, stripWidth / 8> words;
    std::memcpy(words.data(), row, stripWidth);
    const std::uint64_t shade = row[0] * 0x0101010101010101u;
    std::uint64_t hash = 0;
    bool plain = true;
    for (const auto word : words) {
        plain = plain && word == shade;
        hash = (hash ^ word) * factor;
        hash ^= hash >> 29;
    }
    return plain ? 0 : hash | 1;
}

/// Where in a strip of the frame before each row was, by its hash; only rows that stand out.
class RowTable {
public:
    explicit RowTable(int rows) {
        std::size_t size = 1;
        while (size < static_cast<std::size_t>(rows) * 2)
            size *= 2;
        slots.resize(size);
    }
    void add(std::uint64_t hash, int row) {
        auto& slot = find(hash);
        slot = {hash, slot.hash == hash ? twice : row};
    }
    /// -1 if there is none, or more than one.
    int rowOf(std::uint64_t hash) { return find(hash).row; }

private:
    static constexpr int twice = -1;
    struct Slot {
        std::uint64_t hash = 0;
        int row = -1;
    };
    Slot& find(std::uint64_t hash) {
        auto at = hash >> 20 & (slots.size() - 1);
        while (slots[at].hash != 0 && slots[at].hash != hash)
            at = (at + 1) & (slots.size() - 1);
        return slots[at];
    }
    std::vector<Slot> slots;
};

const std::uint8_t* pixel(const PixelBuffer& frame, int x, int y) {
    return frame.plane(0).data + static_cast<std::ptrdiff_t>(y) * frame.plane(0).bytesPerRow + x;
}

} // namespace

int verticalShift(const PixelBuffer& before, const PixelBuffer& now,
                  std::span<const std::uint8_t> constant) {
    const int height = now.height();
    std::vector<int> votes(static_cast<std::size_t>(2 * height + 1));
    int rows = 0; // That stand out.
    for (const auto& strip : changedStrips(now, constant)) {
        RowTable table(strip.height());
        for (int y = strip.top; y < strip.bottom; ++y)
            if (const auto hash = hashOfRow(pixel(before, strip.left, y)))
                table.add(hash, y);
        for (int y = strip.top; y < strip.bottom; ++y)
            if (const auto hash = hashOfRow(pixel(now, strip.left, y))) {
                ++rows;
                if (const int from = table.rowOf(hash); from >= 0 && from != y)
                    ++votes[static_cast<std::size_t>(y - from + height)];
            }
    }
    const auto best = std::ranges::max_element(votes);
    // Fewer are chance, or too little to look for.
    constexpr int minRows = 16;
    constexpr int minShare = 8;
    if (*best < minRows || *best * minShare < rows)
        return 0;
    return static_cast<int>(best - votes.begin()) - height;
}

} // namespace platform::picture
