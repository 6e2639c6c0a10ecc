#include "platform/wayland/capture/ScreenCopy.h"

#include "platform/PixelBuffer.h"

#include <algorithm>
#include <limits>
#include <new>

namespace platform::wayland {
namespace {

using picture::PixelLayout;

constexpr std::uint32_t copyVersion = 3; // copies what was drawn on, when it was
constexpr std::uint32_t maxSide = maxFrameSide;
constexpr std::uint32_t bytesPerPixel = 4;
constexpr std::uint64_t maxBytes = std::numeric_limits<std::int32_t>::max(); // of a wl_shm_pool

std::optional<PixelLayout> layoutOf(std::uint32_t format) {
    switch (format) {
    case WL_SHM_FORMAT_XRGB8888:
    case WL_SHM_FORMAT_ARGB8888:
        return PixelLayout::bgrx8888;
    case WL_SHM_FORMAT_XBGR8888:
    case WL_SHM_FORMAT_ABGR8888:
        return PixelLayout::rgbx8888;
    case WL_SHM_FORMAT_XRGB2101010:
    case WL_SHM_FORMAT_ARGB2101010:
        return PixelLayout::rgb101010;
    case WL_SHM_FORMAT_XBGR2101010:
    case WL_SHM_FORMAT_ABGR2101010:
        return PixelLayout::bgr101010;
    default:
        return std::nullopt;
    }
}

} // namespace

ScreenCopy::ScreenCopy(const Connection& connection, bool showsCursor)
    : sharing(connection.bind<wl_shm>(wl_shm_interface)),
      manager(connection.bind<zwlr_screencopy_manager_v1>(zwlr_screencopy_manager_v1_interface,
                                                          copyVersion)),
      showsCursor(showsCursor) {
    // Which formats clients may use is of no interest: a copy says its own.
    static constexpr wl_shm_listener listener{.format = ignored};
    wl_shm_add_listener(sharing.get(), &listener, nullptr);
}

void ScreenCopy::ask(wl_output* output, bool atOnce) {
    static constexpr zwlr_screencopy_frame_v1_listener listener{
        .buffer = calls<&ScreenCopy::offered>,
        .flags = calls<&ScreenCopy::flagged>,
        .ready = calls<&ScreenCopy::ready>,
        .failed = calls<&ScreenCopy::failed>,
        .damage = calls<&ScreenCopy::drawn>,
        .linux_dmabuf = ignored,
        .buffer_done = calls<&ScreenCopy::allOffered>,
    };
    progress = State::asked;
    waitsForDamage = !atOnce;
    wanted.reset();
    damaged = {};
    upsideDown = false;
    frame.reset(
        zwlr_screencopy_manager_v1_capture_output(manager.get(), showsCursor ? 1 : 0, output));
    zwlr_screencopy_frame_v1_add_listener(frame.get(), &listener, this);
}

void ScreenCopy::offered(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                         std::uint32_t bytesPerRow) {
    const auto layout = layoutOf(format);
    const bool fits = width > 0 && width <= maxSide && height > 0 && height <= maxSide &&
                      bytesPerRow >= width * bytesPerPixel &&
                      std::uint64_t{bytesPerRow} * height <= maxBytes;
    if (!layout || !fits)
        return;
    pixelLayout = layout;
    wanted = Shape{format, static_cast<int>(width), static_cast<int>(height),
                   static_cast<int>(bytesPerRow)};
}

void ScreenCopy::allOffered() {
    if (progress != State::asked)
        return; // What has arrived stays.
    if (!wanted || !allocate())
        return failed();
    if (waitsForDamage)
        zwlr_screencopy_frame_v1_copy_with_damage(frame.get(), buffer.get());
    else
        zwlr_screencopy_frame_v1_copy(frame.get(), buffer.get());
}

bool ScreenCopy::allocate() {
    if (buffer && held == *wanted)
        return true;
    buffer.reset();
    held = *wanted;
    const auto size =
        static_cast<std::size_t>(held.bytesPerRow) * static_cast<std::size_t>(held.height);
    try {
        memory = std::make_unique<Memory>(size);
    } catch (const std::bad_alloc&) {
        return false;
    }
    const Owned<wl_shm_pool> pool(
        wl_shm_create_pool(sharing.get(), memory->descriptor(), static_cast<std::int32_t>(size)));
    buffer.reset(wl_shm_pool_create_buffer(pool.get(), 0, held.width, held.height, held.bytesPerRow,
                                           held.format));
    return true;
}

void ScreenCopy::flagged(std::uint32_t flags) {
    upsideDown = (flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT) != 0;
}

void ScreenCopy::ready(std::uint32_t, std::uint32_t, std::uint32_t) {
    if (progress != State::asked || !buffer)
        return failed();
    if (!waitsForDamage)
        damaged = {0, 0, held.width, held.height};
    progress = State::arrived;
}

void ScreenCopy::drawn(std::uint32_t x, std::uint32_t y, std::uint32_t width,
                       std::uint32_t height) {
    const auto inside = [](std::uint32_t side) {
        return static_cast<int>(std::min(side, maxSide));
    };
    damaged = extents(damaged, {inside(x), inside(y), inside(width), inside(height)});
}

} // namespace platform::wayland
