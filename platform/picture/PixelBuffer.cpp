#include "platform/PixelBuffer.h"

#include "platform/Mutex.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace platform {
namespace {

// A cache line and the widest vector registers.
constexpr std::size_t rowAlignment = 64;

constexpr int alignedRow(int bytes) {
    return static_cast<int>((static_cast<std::size_t>(bytes) + rowAlignment - 1) / rowAlignment *
                            rowAlignment);
}

constexpr std::size_t planeBytes(const PixelPlane& plane) {
    return static_cast<std::size_t>(plane.bytesPerRow) * static_cast<std::size_t>(plane.height);
}

} // namespace

void PixelBuffer::Free::operator()(std::uint8_t* memory) const {
    std::free(memory);
}

PixelBuffer::PixelBuffer(PixelFormat format, int width, int height) : pixelFormat(format) {
    const bool twoPlanes = format == PixelFormat::video420;
    planes[0] = {nullptr, alignedRow(twoPlanes ? width : width * 4), width, height};
    if (twoPlanes) {
        const int pairs = (width + 1) / 2;
        planes[1] = {nullptr, alignedRow(pairs * 2), pairs, (height + 1) / 2};
    }
    const std::size_t size = planeBytes(planes[0]) + planeBytes(planes[1]);
    memory.reset(static_cast<std::uint8_t*>(std::aligned_alloc(rowAlignment, size)));
    if (!memory)
        throw std::bad_alloc{};
    planes[0].data = memory.get();
    if (twoPlanes)
        planes[1].data = memory.get() + planeBytes(planes[0]);
}

struct PixelBufferPool::Shelf {
    Mutex lock;
    std::vector<std::unique_ptr<PixelBuffer>> resting GUARDED_BY(lock);
};

PixelBufferPool::PixelBufferPool(PixelFormat format, int width, int height)
    : format(format),
      width(width),
      height(height),
      shelf(std::make_shared<Shelf>()) {}

std::shared_ptr<PixelBuffer> PixelBufferPool::take() {
    std::unique_ptr<PixelBuffer> buffer;
    {
        const MutexLock locked(shelf->lock);
        if (!shelf->resting.empty()) {
            buffer = std::move(shelf->resting.back());
            shelf->resting.pop_back();
        }
    }
    if (!buffer)
        buffer = std::make_unique<PixelBuffer>(format, width, height);
    const auto giveBack = [weak = std::weak_ptr(shelf)](PixelBuffer* returned) {
        std::unique_ptr<PixelBuffer> owned(returned);
        if (const auto open = weak.lock()) {
            const MutexLock locked(open->lock);
            open->resting.push_back(std::move(owned));
        }
    };
    return {buffer.release(), giveBack};
}

std::uint64_t nextFrameSerial() {
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

} // namespace platform
