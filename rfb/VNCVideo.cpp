#include "app/ControlMessages.h"
#include "rfb/VNCSession.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace orvel {
namespace {

/// The size of the video of a screen: its own shape, no wider than `maxw`, both sides even.
std::pair<int, int> videoSize(int width, int height, int maxw) {
    const auto even = [](double exact) {
        return std::max(2 * static_cast<int>(std::floor(exact / 2)), 2);
    };
    const double target = std::min(maxw, width);
    return {even(target), even(target / width * height)};
}

} // namespace

bool VNCSession::announce() {
    const auto screen = screenSize();
    const auto [w, h] = videoSize(screen.w, screen.h, maxw);
    const Size video{w, h};
    bool created = false;
    encodeQueue.sync([&] { created = renewEncoder(screen, video); });
    return created;
}

bool VNCSession::renewEncoder(Size screen, Size video) {
    if (encoder)
        encoder->stop();
    encoder = Encoder::create(video.w, video.h, fps, kbps);
    outSize = video;
    if (!transfer)
        transfer.emplace();
    // Before anything else can run on this queue, so that no picture of the new size leaves
    // before its announcement.
    emitJSON(FrameType::announcement, {{"w", video.w},
                                       {"h", video.h},
                                       {"display", "1"},
                                       {"displays",
                                        {{{"id", "1"},
                                          {"name", name.empty() ? "Remote desktop" : name},
                                          {"w", screen.w},
                                          {"h", screen.h},
                                          {"main", true}}}},
                                       {"screen", true},
                                       {"input", true}});
    return encoder != nullptr;
}

void VNCSession::changed() {
    Clock::duration delay{0};
    {
        const std::lock_guard guard(stateLock);
        if (std::exchange(pending, true))
            return;
        const auto interval = Clock::duration(std::chrono::seconds(1)) / fps;
        // Before the first one there is nothing to keep a distance from.
        if (lastEncode)
            delay = std::max(delay, interval - (Clock::now() - *lastEncode));
    }
    encodeQueue.asyncAfter(delay, [this] { encode(); });
}

void VNCSession::encode() {
    {
        const std::lock_guard guard(stateLock);
        pending = false;
        lastEncode = Clock::now();
    }
    if (!encoder)
        return;
    auto picture = screenPicture();
    if (Size{picture->width(), picture->height()} != outSize)
        picture = scaled(*picture);
    if (picture)
        encoder->encode(std::move(picture), platform::hostTime());
}

platform::ImageBuffer VNCSession::screenPicture() {
    const std::lock_guard guard(fb.lock);
    const auto buffer = pooled(screenPool, {fb.width, fb.height});
    const auto& plane = buffer->plane(0);
    const auto rowSize = static_cast<std::size_t>(fb.width) * 4;
    for (int row = 0; row < fb.height; ++row)
        std::memcpy(plane.data + std::ptrdiff_t{row} * plane.bytesPerRow,
                    fb.pixels.data() + static_cast<std::size_t>(row) * rowSize, rowSize);
    return buffer;
}

platform::ImageBuffer VNCSession::scaled(const platform::PixelBuffer& picture) {
    const auto buffer = pooled(scaledPool, outSize);
    return transfer->transfer(picture, *buffer) ? buffer : nullptr;
}

std::shared_ptr<platform::PixelBuffer> VNCSession::pooled(std::optional<Pool>& pool, Size size) {
    if (!pool || pool->size != size)
        pool.emplace(Pool{size, {platform::PixelFormat::bgra, size.w, size.h}});
    return pool->buffers.take();
}

void VNCSession::askKey() {
    encodeQueue.async([this] {
        if (encoder)
            encoder->askKey();
    });
}

void VNCSession::setRate(std::int64_t wanted) {
    encodeQueue.async([this, wanted] {
        kbps = static_cast<int>(std::clamp(wanted, lowestKbps, highestKbps));
        if (encoder)
            encoder->setRate(kbps);
    });
}

} // namespace orvel
