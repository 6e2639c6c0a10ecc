#include "rfb/ZRLE.h"

#include "rfb/CompressedPixels.h"
#include "rfb/RFBError.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace orvel {
namespace {

constexpr int tileSize = 64;

/// The data that is left. Reading beyond its end throws.
class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> data) : rest(data) {}

    std::size_t left() const { return rest.size(); }

    const std::uint8_t* take(std::size_t count) {
        if (count > rest.size())
            fail();
        const auto* taken = rest.data();
        rest = rest.subspan(count);
        return taken;
    }
    std::uint8_t byte() { return *take(1); }
    std::uint32_t pixel() { return expandedPixel(take(cpixelSize)); }

    std::size_t runLength() {
        std::size_t length = 1;
        std::uint8_t more = 255;
        while (more == 255)
            length += more = byte();
        return length;
    }

    [[noreturn]] static void fail() {
        throw RFBError::broken("The remote desktop sent short ZRLE data.");
    }

private:
    std::span<const std::uint8_t> rest;
};

[[noreturn]] void failOnPalette() {
    throw RFBError::broken("The remote desktop sent a bad ZRLE palette.");
}

/// Where a tile's pixels belong in the rectangle.
struct Tile {
    std::uint32_t* pixels;
    std::size_t stride;
    std::size_t width;
    std::size_t height;

    std::uint32_t* row(std::size_t y) const { return pixels + y * stride; }
};

void fill(const Tile& tile, std::uint32_t pixel) {
    for (std::size_t y = 0; y < tile.height; ++y)
        std::fill_n(tile.row(y), tile.width, pixel);
}

void readRaw(Reader& reader, const Tile& tile) {
    const auto* cpixels = reader.take(tile.width * tile.height * cpixelSize);
    for (std::size_t y = 0; y < tile.height; ++y)
        expandPixels(cpixels + y * tile.width * cpixelSize, tile.row(y), tile.width);
}

/// Lays down runs of pixels in row order and cuts the one that reaches beyond the tile.
class RunWriter {
public:
    explicit RunWriter(const Tile& tile) : tile(tile) {}

    bool full() const { return y == tile.height; }

    void put(std::uint32_t pixel, std::size_t length) {
        while (length > 0 && !full()) {
            const auto count = std::min(length, tile.width - x);
            std::fill_n(tile.row(y) + x, count, pixel);
            length -= count;
            x += count;
            if (x == tile.width) {
                x = 0;
                ++y;
            }
        }
    }

private:
    const Tile& tile;
    std::size_t x = 0;
    std::size_t y = 0;
};

void readRuns(Reader& reader, const Tile& tile) {
    RunWriter runs(tile);
    while (!runs.full()) {
        const auto pixel = reader.pixel();
        runs.put(pixel, reader.runLength());
    }
}

void readPalette(Reader& reader, std::span<std::uint32_t> palette) {
    expandPixels(reader.take(palette.size() * cpixelSize), palette.data(), palette.size());
}

void readPaletteRuns(Reader& reader, const Tile& tile, std::size_t paletteSize) {
    constexpr std::uint8_t runFlag = 128;
    std::array<std::uint32_t, 127> palette;
    readPalette(reader, std::span(palette).first(paletteSize));
    RunWriter runs(tile);
    while (!runs.full()) {
        const auto code = reader.byte();
        const std::size_t length = code & runFlag ? reader.runLength() : 1;
        const std::size_t index = code & ~runFlag;
        if (index >= paletteSize)
            failOnPalette();
        runs.put(palette[index], length);
    }
}

using PackedPalette = std::array<std::uint32_t, 16>;

/// The compiler's own vectors work on every architecture.
using FourPixels [[gnu::vector_size(16)]] = std::uint32_t;

/// For each four bits the four pixels they stand for, all bits set where the bit is.
constexpr auto nibbleMasks = [] {
    std::array<FourPixels, 16> masks{};
    for (unsigned nibble = 0; nibble < masks.size(); ++nibble)
        masks[nibble] = FourPixels{0 - (nibble >> 3 & 1), 0 - (nibble >> 2 & 1),
                                   0 - (nibble >> 1 & 1), 0 - (nibble & 1)};
    return masks;
}();

/// Writes `count` pixels with the colors that their packed indices stand for, most significant
/// bits first. Returns the largest index.
template<int bits>
std::size_t unpack(const std::uint8_t* packed, std::uint32_t* pixels, std::size_t count,
                   const PackedPalette& palette) {
    constexpr std::size_t perByte = 8 / bits;
    constexpr std::size_t mask = (1 << bits) - 1;
    std::size_t largest = 0;
    const auto unpackByte = [&](std::size_t byte, std::size_t number) {
        for (std::size_t at = 0; at < number; ++at) {
            const auto index = byte >> (8 - bits * (at + 1)) & mask;
            largest = std::max(largest, index);
            *pixels++ = palette[index];
        }
    };
    for (; count >= perByte; count -= perByte)
        unpackByte(*packed++, perByte);
    if (count > 0)
        unpackByte(*packed, count);
    return largest;
}

/// Two colors are frequent enough, as plain text, for a way of their own: four pixels at a time.
template<>
std::size_t unpack<1>(const std::uint8_t* packed, std::uint32_t* pixels, std::size_t count,
                      const PackedPalette& palette) {
    const auto unpackNibble = [first = FourPixels{} + palette[0],
                               difference = FourPixels{} + (palette[0] ^ palette[1])](
                                  std::size_t nibble, std::uint32_t* target) {
        const auto four = first ^ (difference & nibbleMasks[nibble]);
        std::memcpy(target, &four, sizeof four);
    };
    for (; count >= 8; count -= 8, pixels += 8) {
        unpackNibble(*packed >> 4, pixels);
        unpackNibble(*packed++ & 15, pixels + 4);
    }
    std::array<std::uint32_t, 8> rest;
    if (count > 0) {
        unpackNibble(*packed >> 4, rest.data());
        unpackNibble(*packed & 15, rest.data() + 4);
        std::copy_n(rest.data(), count, pixels);
    }
    return 1;
}

template<int bits>
void readPacked(Reader& reader, const Tile& tile, std::size_t paletteSize) {
    PackedPalette palette{}; // all of it, for indices beyond its size are noticed only later
    readPalette(reader, std::span(palette).first(paletteSize));
    const auto rowBytes = (tile.width * bits + 7) / 8;
    for (std::size_t y = 0; y < tile.height; ++y) {
        // A bad index in front of missing data is the first thing that is wrong.
        const auto there = std::min(rowBytes, reader.left());
        const auto count = std::min(tile.width, there * 8 / bits);
        if (unpack<bits>(reader.take(there), tile.row(y), count, palette) >= paletteSize)
            failOnPalette();
        if (there < rowBytes)
            Reader::fail();
    }
}

void readTile(Reader& reader, const Tile& tile) {
    const auto subencoding = reader.byte();
    if (subencoding == 0)
        readRaw(reader, tile);
    else if (subencoding == 1)
        fill(tile, reader.pixel());
    else if (subencoding == 2)
        readPacked<1>(reader, tile, subencoding);
    else if (subencoding <= 4)
        readPacked<2>(reader, tile, subencoding);
    else if (subencoding <= 16)
        readPacked<4>(reader, tile, subencoding);
    else if (subencoding == 128)
        readRuns(reader, tile);
    else if (subencoding >= 130)
        readPaletteRuns(reader, tile, subencoding - 128);
    else
        throw RFBError::broken("The remote desktop sent a ZRLE tile this client does not read.");
}

} // namespace

void zrleDecode(std::span<const std::uint8_t> data, int width, int height,
                Scratch<std::uint32_t>& scratch, const RowSink& sink) {
    if (width < 1 || height < 1)
        return;
    const auto columns = static_cast<std::size_t>(width);
    const auto rowOfTiles = scratch.take(columns * tileSize);
    Reader reader(data);
    for (int y = 0; y < height; y += tileSize) {
        const int rows = std::min(tileSize, height - y);
        for (int x = 0; x < width; x += tileSize)
            readTile(reader, {&rowOfTiles[static_cast<std::size_t>(x)], columns,
                              static_cast<std::size_t>(std::min(tileSize, width - x)),
                              static_cast<std::size_t>(rows)});
        const auto pixels = rowOfTiles.first(columns * static_cast<std::size_t>(rows));
        sink(y, rows, {reinterpret_cast<const std::uint8_t*>(pixels.data()), pixels.size_bytes()});
    }
}

} // namespace orvel
