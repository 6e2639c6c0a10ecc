#include "rfb/Framebuffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace orvel {
namespace {

std::size_t byteCount(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           Framebuffer::bytesPerPixel;
}

} // namespace

Framebuffer::Framebuffer(int width, int height) : pixels(nullptr, Unmap{0}) {
    resize(width, height);
}

void Framebuffer::resize(int width, int height) {
    pixels = zeroed(width, height);
    currentSize = Size{static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
}

bool Framebuffer::clipped(const platform::Area& area) const {
    const auto [width, height] = size();
    return area.x >= 0 && area.y >= 0 && area.width >= 0 && area.height >= 0 &&
           std::int64_t{area.x} + area.width <= width &&
           std::int64_t{area.y} + area.height <= height;
}

void Framebuffer::put(const platform::Area& area, std::span<const std::uint8_t> source) {
    if (!clipped(area) || source.size() < byteCount(area.width, area.height))
        return;
    const auto row = byteCount(area.width, 1);
    // Not memcpy, which takes no null pointer: nothing at all may be the source of an empty row.
    for (int r = 0; r < area.height; ++r)
        std::copy_n(source.data() + static_cast<std::size_t>(r) * row, row, at(area.x, area.y + r));
}

void Framebuffer::copy(int fromX, int fromY, const platform::Area& area) {
    if (!clipped({fromX, fromY, area.width, area.height}) || !clipped(area))
        return;
    // Rows in an order in which none is overwritten before it was copied.
    const bool downwards = area.y > fromY;
    for (int step = 0; step < area.height; ++step) {
        const int r = downwards ? area.height - 1 - step : step;
        std::memmove(at(area.x, area.y + r), at(fromX, fromY + r), byteCount(area.width, 1));
    }
}

platform::FrameView Framebuffer::view() const {
    const auto [width, height] = size();
    return {pixels.get(), width * bytesPerPixel, width, height};
}

Framebuffer::Pixels Framebuffer::zeroed(int width, int height) {
    const auto size = byteCount(width, height);
    void* const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    return {static_cast<std::uint8_t*>(memory), Unmap{size}};
}

void Framebuffer::Unmap::operator()(std::uint8_t* memory) const {
    munmap(memory, size);
}

std::uint8_t* Framebuffer::at(int x, int y) {
    return pixels.get() + byteCount(size().width, y) + byteCount(x, 1);
}

} // namespace orvel
