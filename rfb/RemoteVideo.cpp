#include "rfb/RemoteVideo.h"

#include "app/host/ControlMessages.h"
#include "app/host/HostChannel.h"
#include "local/VideoSize.h"
#include "platform/Clock.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace orvel {
namespace {

/// A system that had no memory for a frame may have some by then.
constexpr auto retryDelay = std::chrono::seconds(1);

/// No side is below two pixels, which is the least that the video's format can show.
std::pair<int, int> encodedSize(Framebuffer::Size screen, int maxw) {
    constexpr std::int64_t minSide = 2;
    const double width = screen.width;
    const auto [w, h] = videoSize({0, 0, width, double(screen.height)}, screen.width, maxw);
    return {static_cast<int>(std::max(w, minSide)), static_cast<int>(std::max(h, minSide))};
}

} // namespace

RemoteVideo::RemoteVideo(const Framebuffer& framebuffer, std::string name, int fps, int kbps,
                         int maxw)
    : framebuffer(framebuffer),
      name(std::move(name)),
      fps(fps),
      maxw(maxw),
      kbps(kbps) {}

void RemoteVideo::beginDrawing() {
    const platform::MutexLock locked(lock);
    while (converting || postponed)
        converted.wait(lock);
    drawing = true;
}

void RemoteVideo::endDrawing(const platform::Area& drawn) {
    transfer.changed(drawn);
    const platform::MutexLock locked(lock);
    drawing = false;
    if (postponed)
        scheduleFrame({});
}

bool RemoteVideo::announce() {
    bool created = false;
    encodeQueue.sync([&] {
        if (stopped)
            return;
        renewEncoder();
        created = encoder != nullptr;
    });
    return created;
}

void RemoteVideo::renewEncoder() {
    if (encoder)
        encoder->stop();
    announcedSize = framebuffer.size();
    const auto [width, height] = encodedSize(announcedSize, maxw);
    encoder = Encoder::create(width, height, fps, kbps);
    transfer.setSizes(announcedSize.width, announcedSize.height, width, height);
    // Before anything else can run on this queue, so that no frame of the new size leaves before
    // its announcement.
    emitAnnouncement(width, height);
}

void RemoteVideo::emitAnnouncement(int width, int height) const {
    emitJSON(FrameType::announcement, {{"w", width},
                                       {"h", height},
                                       {"display", "1"},
                                       {"displays",
                                        {{{"id", "1"},
                                          {"name", name.empty() ? "Remote desktop" : name},
                                          {"w", announcedSize.width},
                                          {"h", announcedSize.height},
                                          {"main", true}}}},
                                       {"screen", true},
                                       {"input", true}});
}

void RemoteVideo::changed() {
    const platform::MutexLock locked(lock);
    if (std::exchange(pending, true))
        return;
    const auto interval = Clock::duration(std::chrono::seconds(1)) / fps;
    // Before the first one there is nothing to keep a distance from.
    scheduleFrame(lastEncode ? interval - (Clock::now() - *lastEncode) : Clock::duration(0));
}

void RemoteVideo::scheduleFrame(Clock::duration delay) {
    encodeQueue.asyncAfter(delay, [this] { encode(); });
}

void RemoteVideo::encode() {
    {
        const platform::MutexLock locked(lock);
        postponed = drawing;
        if (drawing)
            return;
        converting = true;
        pending = false;
        lastEncode = Clock::now();
    }
    // Between a new size and its announcement there is nothing that could be shown.
    const bool wanted = encoder && framebuffer.size() == announcedSize;
    auto frame = wanted ? transfer.transfer(framebuffer.view()) : nullptr;
    const bool memoryRanOut = wanted && !frame;
    {
        const platform::MutexLock locked(lock);
        converting = false;
        if (memoryRanOut && !std::exchange(pending, true))
            scheduleFrame(retryDelay);
    }
    converted.notifyAll();
    if (frame)
        encoder->encode(std::move(frame), platform::hostTime());
}

void RemoteVideo::askKey() {
    encodeQueue.async([this] {
        if (encoder)
            encoder->askKey();
    });
}

void RemoteVideo::setRate(std::int64_t wanted) {
    encodeQueue.async([this, wanted] {
        kbps = static_cast<int>(std::clamp(wanted, lowestKbps, highestKbps));
        if (encoder)
            encoder->setRate(kbps);
    });
}

void RemoteVideo::stop() {
    encodeQueue.sync([this] {
        stopped = true;
        if (encoder)
            encoder->stop();
    });
}

} // namespace orvel
