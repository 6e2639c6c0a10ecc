#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// ZRLE rectangles as a real server sent them, in order, all of one connection. In a file each has
/// its x, y, width, height (16 bits) and length (32 bits), all big-endian, in front of its data.
namespace bench {

struct Rectangle {
    int x;
    int y;
    int width;
    int height;
    std::vector<std::uint8_t> data; ///< Compressed.
};

using Rectangles = std::vector<Rectangle>;

void writeRectangles(const Rectangles& rectangles, const std::string& path);
/// Throws std::runtime_error if the file is not there or not whole.
Rectangles readRectangles(const std::string& path);

} // namespace bench
