#include "app/host/ControlMessages.h"
#include "local/VideoSize.h"
#include "rfb/VNCSession.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace orvel {

bool VNCSession::announce() {
    const auto screen = screenSize();
    const auto exact = videoSize({0, 0, double(screen.w), double(screen.h)}, screen.w, maxw);
    // However flat the screen is.
    const auto side = [](std::int64_t pixels) { return std::max(static_cast<int>(pixels), 2); };
    bool created = false;
    encodeQueue.sync([&] {
        created =
            !isStopping() && renewEncoder(screen, Size{side(exact.width), side(exact.height)});
    });
    return created;
}

bool VNCSession::renewEncoder(Size screen, Size video) {
    if (encoder)
        encoder->stop();
    encoder = Encoder::create(video.w, video.h, fps, kbps);
    {
        const std::lock_guard guard(fb.lock);
        transfer.setSizes(screen.w, screen.h, video.w, video.h);
    }
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
    if (auto picture = screenPicture())
        encoder->encode(std::move(picture), platform::hostTime());
}

/// Straight from the framebuffer: converting what has changed takes less time under the lock than a
/// copy of the whole would. Nothing while the screen has a new size that is not announced yet.
platform::ImageBuffer VNCSession::screenPicture() {
    const std::lock_guard guard(fb.lock);
    return transfer.transfer(
        {fb.pixels.data(), fb.width * Framebuffer::bytesPerPixel, fb.width, fb.height});
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
