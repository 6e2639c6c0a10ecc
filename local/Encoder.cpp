#include "local/Encoder.h"

#include "app/host/ControlMessages.h"
#include "app/host/HostChannel.h"
#include "local/VideoPayload.h"
#include "platform/Queue.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr auto keyFramePatience = 150ms;
constexpr auto firstRefresh = 300ms;
constexpr auto secondRefresh = 1200ms;
/// How far a frame is moved behind the one before it if it is not later by itself.
constexpr auto smallestStep = 1ms;
/// Quantisers above this smear text.
constexpr int maxQuantiser = 36;

void applyRate(platform::CompressionSession& session, std::int64_t kbps) {
    session.setAverageBitRate(kbps * 1000);
    // Half as much again as the average, over any second.
    session.setDataRateLimits(kbps * 1500 / 8, 1);
}

/// Returns whether the session is ready to encode.
bool configure(platform::CompressionSession& session, int fps, int kbps) {
    session.setRealTime(true);
    session.setAllowFrameReordering(false);
    session.setMaxFrameDelayCount(0);
    session.setProfileLevel(platform::VideoProfile::constrainedHigh);
    session.setExpectedFrameRate(fps);
    applyRate(session, kbps);
    session.setPrioritizeEncodingSpeedOverQuality(true);
    session.setMaxAllowedFrameQP(maxQuantiser);
    return session.prepareToEncode();
}

} // namespace

std::shared_ptr<Encoder> Encoder::create(std::int32_t width, std::int32_t height, int fps,
                                         int kbps) {
    std::shared_ptr session = platform::CompressionSession::create(width, height);
    if (!session || !configure(*session, fps, kbps))
        return nullptr;
    std::shared_ptr<Encoder> encoder(new Encoder);
    encoder->session.store(std::move(session));
    return encoder;
}

void Encoder::submit(platform::ImageBuffer image, platform::MediaTime time) {
    const auto open = session.load();
    if (!open)
        return;
    last = image;
    if (!hostKeepsUp())
        return submitLater();
    postponed = false;
    const platform::FrameOptions options{.forceKeyFrame = std::exchange(wantKey, false)};
    lastAt = time > lastAt ? time : lastAt + smallestStep;
    open->encodeFrame(std::move(image), lastAt, options,
                      [weak = weak_from_this()](const platform::EncodedSample* sample) {
                          if (!weak.expired())
                              send(sample);
                      });
}

void Encoder::submitLater() {
    if (std::exchange(postponed, true))
        return;
    whenHostKeepsUp([weak = weak_from_this()] {
        const auto encoder = weak.lock();
        if (!encoder)
            return;
        const platform::MutexLock locked(encoder->lock);
        if (std::exchange(encoder->postponed, false))
            encoder->submit(encoder->last, platform::hostTime());
    });
}

void Encoder::captured(platform::ImageBuffer image, platform::MediaTime time) {
    std::int64_t number = 0;
    {
        const platform::MutexLock locked(lock);
        number = ++captures;
        submit(std::move(image), time);
    }
    for (const auto delay : {firstRefresh, secondRefresh})
        platform::globalQueueAfter(delay, [weak = weak_from_this(), number] {
            if (const auto encoder = weak.lock())
                encoder->submitAgainUnlessNewer(number);
        });
}

void Encoder::submitAgainUnlessNewer(std::int64_t than) {
    const platform::MutexLock locked(lock);
    if (captures == than && last)
        submit(last, platform::hostTime());
}

void Encoder::encode(platform::ImageBuffer image, platform::MediaTime time) {
    const platform::MutexLock locked(lock);
    submit(std::move(image), time);
}

void Encoder::askKey() {
    {
        const platform::MutexLock locked(lock);
        wantKey = true;
    }
    platform::globalQueueAfter(keyFramePatience, [weak = weak_from_this()] {
        const auto encoder = weak.lock();
        if (!encoder)
            return;
        const platform::MutexLock locked(encoder->lock);
        if (encoder->wantKey && encoder->last)
            encoder->submit(encoder->last, platform::hostTime());
    });
}

void Encoder::setRate(std::int64_t kbps) {
    if (const auto open = session.load())
        applyRate(*open, std::clamp(kbps, lowestKbps, highestKbps));
}

void Encoder::send(const platform::EncodedSample* sample) {
    if (sample && sample->data.data())
        emit(FrameType::video, videoPayload(*sample));
}

void Encoder::stop() {
    if (const auto open = session.load()) {
        open->completeFrames();
        open->invalidate();
        session.store(nullptr);
    }
}

} // namespace orvel
