#include "rfb/Framebuffer.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace orvel {
namespace {

constexpr auto pixelSize = static_cast<std::size_t>(Framebuffer::bytesPerPixel);

std::size_t byteCount(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * pixelSize;
}

} // namespace

Framebuffer::Framebuffer(int width, int height)
    : width(width),
      height(height),
      pixels(byteCount(width, height)) {}

void Framebuffer::resize(int newWidth, int newHeight) {
    const std::lock_guard held(lock);
    width = newWidth;
    height = newHeight;
    pixels.assign(byteCount(width, height), 0);
}

bool Framebuffer::clipped(int x, int y, int w, int h) const {
    return x >= 0 && y >= 0 && w >= 0 && h >= 0 && std::int64_t{x} + w <= width &&
           std::int64_t{y} + h <= height;
}

void Framebuffer::put(int x, int y, int w, int h, std::span<const std::uint8_t> source) {
    if (!clipped(x, y, w, h) || source.size() < byteCount(w, h))
        return;
    const auto row = byteCount(w, 1);
    // Not memcpy, which takes no null pointer: nothing at all may be the source of an empty row.
    for (int r = 0; r < h; ++r)
        std::copy_n(source.data() + static_cast<std::size_t>(r) * row, row, at(x, y + r));
}

void Framebuffer::copy(int fromX, int fromY, int x, int y, int w, int h) {
    if (!clipped(fromX, fromY, w, h) || !clipped(x, y, w, h))
        return;
    // Rows in an order in which none is overwritten before it was copied.
    const bool downwards = y > fromY;
    for (int step = 0; step < h; ++step) {
        const int r = downwards ? h - 1 - step : step;
        std::memmove(at(x, y + r), at(fromX, fromY + r), byteCount(w, 1));
    }
}

std::uint8_t* Framebuffer::at(int x, int y) {
    return pixels.data() + byteCount(width, y) + static_cast<std::size_t>(x) * pixelSize;
}

} // namespace orvel
