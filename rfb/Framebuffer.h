#pragma once

#include "platform/Area.h"
#include "platform/PixelBuffer.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace orvel {

/// Our copy of the remote desktop. One thread draws on it and another one reads it: RemoteVideo
/// keeps the two apart, and only the size may be read at any time. What does not fit inside is
/// silently left out, so it is up to the caller to complain.
class Framebuffer final {
public:
    /// Of either side in pixels: as large as the widest screens put together; keeps a frame
    /// below 256 MiB.
    static constexpr int maxSide = 8192;
    static constexpr bool isSide(int pixels) { return pixels >= 1 && pixels <= maxSide; }

    static constexpr int bytesPerPixel = 4;

    /// Aligned so that every compiler reads and writes it as one word.
    struct alignas(4) Size {
        std::uint16_t width;
        std::uint16_t height;

        friend bool operator==(const Size&, const Size&) = default;
    };

    /// All zero. Each side is at most `maxSide`. Throws std::bad_alloc.
    Framebuffer(int width, int height);

    /// Replaces the pixels with those of the new size, all zero, at no cost but for those that are
    /// drawn on afterwards. Throws std::bad_alloc, and then nothing has changed.
    void resize(int width, int height);

    /// Callable from any thread at any time.
    Size size() const { return currentSize; }

    /// Whether the rectangle lies inside as a whole.
    bool clipped(const platform::Area& area) const;

    /// Copies packed pixels to the area, if it fits and the source holds that many.
    void put(const platform::Area& area, std::span<const std::uint8_t> source);

    /// Copies an area of the same size from (fromX, fromY), if both places fit. They may overlap:
    /// the result is as if the source had been taken aside first.
    void copy(int fromX, int fromY, const platform::Area& area);

    /// Rows from top to bottom without padding, 4 bytes a pixel: blue, green, red, alpha.
    platform::FrameView view() const;

private:
    /// Memory that the system hands out zeroed when it is first touched.
    struct Unmap {
        std::size_t size;
        void operator()(std::uint8_t* memory) const;
    };
    using Pixels = std::unique_ptr<std::uint8_t[], Unmap>;

    static Pixels zeroed(int width, int height);
    std::uint8_t* at(int x, int y);

    Pixels pixels;
    std::atomic<Size> currentSize{};
    static_assert(std::atomic<Size>::is_always_lock_free);
};

} // namespace orvel
