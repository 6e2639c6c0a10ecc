#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace platform {

enum class PixelFormat : std::uint32_t {
    bgra = 0x42475241,     ///< 'BGRA': one plane, 4 bytes a pixel: blue, green, red, unused.
    video420 = 0x34323076, ///< '420v': a luma plane and one of Cb, Cr pairs at half size, BT.601
                           ///< limited range.
};

constexpr int macroblockSize = 16;
constexpr int macroblocks(int pixels) {
    return (pixels + macroblockSize - 1) / macroblockSize;
}

/// Of a frame's width and height, in pixels: the largest that every part of the program can handle.
constexpr int maxFrameSide = 16384;
/// Whether a side of a video's frames may have this many pixels: an even number, for a sample of
/// chroma covers two.
constexpr bool isVideoSide(std::int64_t pixels) {
    return pixels >= 2 && pixels <= maxFrameSide && pixels % 2 == 0;
}

/// One plane of a frame, in memory that the frame owns.
struct PixelPlane {
    std::uint8_t* data = nullptr;
    int bytesPerRow = 0;
    int width = 0;  ///< In samples (for Cb, Cr: in pairs).
    int height = 0; ///< In rows.
};

/// A bgra frame in somebody else's memory, which has to outlive the view.
struct FrameView {
    const std::uint8_t* data = nullptr;
    int bytesPerRow = 0;
    int width = 0;
    int height = 0;
};

/// The same to be drawn into.
struct MutableFrameView {
    std::uint8_t* data = nullptr;
    int bytesPerRow = 0;
    int width = 0;
    int height = 0;

    /// The pixel in this column and row.
    std::uint8_t* at(int x, int y) const {
        return data + static_cast<std::ptrdiff_t>(y) * bytesPerRow +
               static_cast<std::ptrdiff_t>(x) * 4;
    }
    operator FrameView() const { // NOLINT(google-explicit-constructor)
        return {data, bytesPerRow, width, height};
    }
};

/// What is known of a frame's difference from the frame made before it.
struct FrameChanges {
    std::uint64_t serial = 0;      ///< Names this frame among all of the process; 0: not named.
    std::uint64_t predecessor = 0; ///< The frame compared with; 0: nothing is known.
    /// One byte for each 16x16 block, row by row: not 0 where the frames may differ.
    std::vector<std::uint8_t> changedBlocks;
};

/// A frame in memory, filled by one owner and shared as `ImageBuffer` afterwards, when nobody
/// changes it any more. Rows start at multiples of 64 bytes.
class PixelBuffer final {
public:
    /// Sizes are in pixels, at least 1 and at most `maxFrameSide` each; video420 rounds odd sizes
    /// up for its second plane. Throws std::bad_alloc.
    PixelBuffer(PixelFormat format, int width, int height);
    ~PixelBuffer() = default;
    PixelBuffer(const PixelBuffer&) = delete;
    PixelBuffer& operator=(const PixelBuffer&) = delete;

    PixelFormat format() const { return pixelFormat; }
    int width() const { return planes[0].width; }
    int height() const { return planes[0].height; }
    /// 0 is the only plane of bgra and the luma of video420, 1 the chroma of video420. Write
    /// through it only while filling.
    const PixelPlane& plane(int index) const { return planes[index]; }

    FrameChanges changes; ///< Written while filling only.

private:
    struct Free {
        void operator()(std::uint8_t* memory) const;
    };
    PixelFormat pixelFormat;
    std::unique_ptr<std::uint8_t[], Free> memory;
    PixelPlane planes[2];
};

/// A finished frame. Its memory goes back to its pool with the last owner.
using ImageBuffer = std::shared_ptr<const PixelBuffer>;

/// Hands out frames of one format and size and takes their memory back, so that a steady stream
/// of frames allocates nothing. Callable from any thread; frames may outlive the pool.
class PixelBufferPool final {
public:
    PixelBufferPool(PixelFormat format, int width, int height);

    /// A frame to fill, with the contents some earlier owner left in it (a new one is
    /// undefined). Throws std::bad_alloc.
    std::shared_ptr<PixelBuffer> take();

private:
    struct Shelf;
    PixelFormat format;
    int width;
    int height;
    std::shared_ptr<Shelf> shelf;
};

/// A serial for `FrameChanges` that no other frame of the process has.
std::uint64_t nextFrameSerial();

} // namespace platform
