#include "platform/VideoCompression.h"

#include "platform/Mutex.h"
#include "platform/Queue.h"
#include "platform/h264/FramePlanner.h"
#include "platform/h264/H264Encoder.h"
#include "platform/h264/SendSchedule.h"

#include <chrono>
#include <utility>

namespace platform {
namespace {

using h264::H264Encoder;
using h264::SendSchedule;

/// A frame that was handed in.
struct Waiting {
    ImageBuffer image;
    MediaTime time;
    CompressionSession::OutputHandler handler; // Empty once it was called.
};

/// A frame that is encoded. Points into the encoder, which is not used meanwhile.
struct Held {
    H264Encoder::AccessUnit unit;
    MediaTime time;
    CompressionSession::OutputHandler handler; // Empty once it was called.
};

void answer(CompressionSession::OutputHandler& handler, const EncodedSample* sample) {
    if (const auto unanswered = std::exchange(handler, nullptr))
        unanswered(sample);
}

} // namespace

struct CompressionSession::State {
    State(std::int32_t width, std::int32_t height)
        : settings{.width = width, .height = height, .framesPerSecond = 30, .maxQP = 51},
          planner(width, height) {}

    Mutex lock; // Held while a handler runs.
    h264::EncoderSettings settings GUARDED_BY(lock);
    h264::SendSchedule schedule GUARDED_BY(lock){4'000'000};
    h264::FramePlanner planner GUARDED_BY(lock);
    std::unique_ptr<H264Encoder> encoder GUARDED_BY(lock); // Once open.
    bool failed GUARDED_BY(lock) = false;                  // Opening it has been tried in vain.
    bool ended GUARDED_BY(lock) = false;
    Waiting waiting GUARDED_BY(lock);
    Held held GUARDED_BY(lock);
    std::optional<MediaTime> wake GUARDED_BY(lock); // When the queue looks next, if it does.

    /// Once needed. Last, so that its thread ends first.
    std::unique_ptr<SerialQueue> queue GUARDED_BY(lock);

    bool open() REQUIRES(lock) {
        if (!encoder && !failed) {
            encoder = H264Encoder::open(settings);
            failed = !encoder;
        }
        return !failed;
    }

    /// Takes every step that is due, and comes back when the next one is.
    void advance() REQUIRES(lock) {
        while (const auto due = schedule.next(hostTime())) {
            if (due->time > hostTime())
                return advanceLater(due->time);
            take(due->step, false);
        }
    }

    void advanceLater(MediaTime time) REQUIRES(lock) {
        if (wake && *wake <= time)
            return; // It will look again then.
        wake = time;
        if (!queue)
            queue = std::make_unique<SerialQueue>("orvel.compression");
        queue->asyncAfter(time - hostTime(), [this] {
            const MutexLock locked(lock);
            wake.reset();
            advance();
        });
    }

    /// If `atOnce`, even without room.
    void take(SendSchedule::Step step, bool atOnce) REQUIRES(lock) {
        if (step == SendSchedule::Step::encode)
            encode(atOnce);
        else
            send();
    }

    void encode(bool atOnce) REQUIRES(lock) {
        const auto now = hostTime();
        const auto order = schedule.order(waiting.time, now, planner.isRefresh());
        const auto plan = planner.plan(order.key, order.maxBits);
        if (!schedule.hasRoomFor(plan.bits / 8, now) && !atOnce)
            return;
        schedule.takeWaiting();
        const auto image = std::exchange(waiting.image, nullptr);
        const auto unit = open() ? encoder->encode(*image, plan) : std::nullopt;
        if (!unit)
            return answer(waiting.handler, nullptr);
        planner.encoded(std::ssize(unit->data) * 8);
        schedule.encoded(std::ssize(unit->data));
        held = {*unit, waiting.time, std::exchange(waiting.handler, nullptr)};
    }

    void send() REQUIRES(lock) {
        const auto& [sequence, picture] = encoder->parameterSets();
        const EncodedSample sample{.data = held.unit.data,
                                   .presentationTime = held.time,
                                   .notSync = !held.unit.key,
                                   .parameterSets = {sequence, picture}};
        schedule.send(hostTime());
        answer(held.handler, &sample);
    }
};

std::unique_ptr<CompressionSession> CompressionSession::create(std::int32_t width,
                                                               std::int32_t height) {
    if (!isVideoSide(width) || !isVideoSide(height))
        return nullptr;
    return std::unique_ptr<CompressionSession>(
        new CompressionSession(std::make_unique<State>(width, height)));
}

CompressionSession::CompressionSession(std::unique_ptr<State> state) : state(std::move(state)) {}

CompressionSession::~CompressionSession() {
    invalidate();
}

bool CompressionSession::setRealTime(bool realTime) {
    return realTime;
}

bool CompressionSession::setAllowFrameReordering(bool allow) {
    return !allow;
}

bool CompressionSession::setMaxFrameDelayCount(int frames) {
    return frames >= 0; // There is never a delay.
}

bool CompressionSession::setProfileLevel(VideoProfile profile) {
    return profile == VideoProfile::constrainedHigh;
}

bool CompressionSession::setPrioritizeEncodingSpeedOverQuality(bool prioritize) {
    return prioritize;
}

bool CompressionSession::setExpectedFrameRate(int framesPerSecond) {
    const MutexLock locked(state->lock);
    constexpr int maxFrameRate = 1000;
    if (state->encoder || framesPerSecond < 1 || framesPerSecond > maxFrameRate)
        return false;
    state->schedule.setFrameRate(framesPerSecond);
    state->settings.framesPerSecond = framesPerSecond;
    return true;
}

bool CompressionSession::setMaxAllowedFrameQP(int qp) {
    constexpr int coarsest = 51;
    const MutexLock locked(state->lock);
    if (state->encoder || qp < 1 || qp > coarsest)
        return false;
    state->settings.maxQP = qp;
    state->planner.setCoarsest(qp);
    return true;
}

bool CompressionSession::setAverageBitRate(std::int64_t bitsPerSecond) {
    if (bitsPerSecond <= 0)
        return false;
    const MutexLock locked(state->lock);
    state->schedule.setAverageBitRate(bitsPerSecond);
    return true;
}

bool CompressionSession::setDataRateLimits(std::int64_t bytes, double seconds) {
    using namespace std::chrono;
    constexpr double maxSeconds = 60; // Keeps the count of what was sent short.
    if (bytes <= 0 || !(seconds > 0 && seconds <= maxSeconds))
        return false;
    const MutexLock locked(state->lock);
    state->schedule.setLimit(bytes, duration_cast<nanoseconds>(duration<double>(seconds)));
    if (state->schedule.next(hostTime())) // There may be room now.
        state->advanceLater(hostTime());
    return true;
}

bool CompressionSession::prepareToEncode() {
    const MutexLock locked(state->lock);
    return !state->ended && state->open();
}

void CompressionSession::encodeFrame(ImageBuffer image, MediaTime presentationTime,
                                     FrameOptions options, OutputHandler handler) {
    const MutexLock locked(state->lock);
    if (state->ended || !image || image->format() != PixelFormat::video420 ||
        image->width() != state->settings.width || image->height() != state->settings.height)
        return handler(nullptr);
    answer(state->waiting.handler, nullptr);
    state->waiting = {std::move(image), presentationTime, std::move(handler)};
    state->planner.follow(state->waiting.image);
    state->schedule.submit(options.forceKeyFrame);
    state->advance();
}

void CompressionSession::completeFrames() {
    const MutexLock locked(state->lock);
    while (const auto due = state->schedule.next(hostTime()))
        state->take(due->step, true);
}

void CompressionSession::invalidate() {
    const MutexLock locked(state->lock);
    state->ended = true;
    state->schedule.clear();
    answer(state->held.handler, nullptr);
    answer(state->waiting.handler, nullptr);
    state->waiting.image.reset();
    state->encoder.reset();
}

} // namespace platform
