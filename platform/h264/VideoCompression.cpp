#include "platform/VideoCompression.h"

#include "platform/Queue.h"
#include "platform/h264/BitBudget.h"
#include "platform/h264/ConstantBlocks.h"
#include "platform/h264/H264Encoder.h"
#include "platform/h264/RateWindow.h"

#include <chrono>
#include <mutex>
#include <utility>

namespace platform {
namespace {

using h264::H264Encoder;

constexpr std::int32_t smallestSide = 2;
constexpr std::int32_t largestSide = 16384;

bool isSide(std::int32_t pixels) {
    return pixels >= smallestSide && pixels <= largestSide && pixels % 2 == 0;
}

struct Submission {
    ImageBuffer image;
    MediaTime time;
    CompressionSession::OutputHandler handler;
};

/// Encoded, and not sent yet. Points into the encoder, which is not used meanwhile.
struct Result {
    H264Encoder::AccessUnit unit;
    MediaTime time;
    CompressionSession::OutputHandler handler;

    std::int64_t size() const { return static_cast<std::int64_t>(unit.data.size()); }
};

} // namespace

/// A picture handed in waits, is encoded, is held, is sent; each of the last two stages has room
/// for one, and most pictures pass through all of them within `encodeFrame`.
struct CompressionSession::State {
    State(std::int32_t width, std::int32_t height)
        : settings{.width = width,
                   .height = height,
                   .framesPerSecond = 30,
                   .bitsPerSecond = 4'000'000,
                   .highestQP = 51},
          blocks(static_cast<std::size_t>(macroblocks(width)) *
                 static_cast<std::size_t>(macroblocks(height))) {}

    std::mutex lock; // Guards all that follows, and is held while a handler runs.
    H264Encoder::Settings settings;
    h264::BitBudget budget{settings.bitsPerSecond};
    h264::RateWindow window;
    h264::ConstantBlocks blocks;
    std::unique_ptr<H264Encoder> encoder; // Once open.
    bool failed = false;                  // Opening it has been tried in vain.
    bool ended = false;
    bool keyOwed = true;
    std::optional<Submission> waiting;
    std::optional<Result> held;
    std::optional<MediaTime> wake; // When the queue looks next, if it does.

    std::unique_ptr<SerialQueue> queue; // Once needed. Last, so that its thread ends first.

    bool open() {
        if (!encoder && !failed) {
            encoder = H264Encoder::open(settings);
            failed = !encoder;
        }
        return !failed;
    }

    /// When what is held can be sent or what is waiting encoded; nothing if there is neither.
    std::optional<MediaTime> nextStep(MediaTime now) {
        // A key frame may exceed the limit, but not on top of another picture that does already.
        if (held)
            return window.roomFor(held->unit.key ? 0 : held->size(), now);
        if (waiting)
            return window.roomFor(keyOwed ? 0 : typicalSize(), now);
        return std::nullopt;
    }

    std::int64_t typicalSize() const {
        return settings.bitsPerSecond / 8 / settings.framesPerSecond;
    }

    void takeStep() {
        if (held)
            send();
        else
            encode();
    }

    /// Gets everything as far as the limit allows now, and comes back when it allows more.
    void advance() {
        while (const auto time = nextStep(hostTime())) {
            if (*time > hostTime())
                return advanceLater(*time);
            takeStep();
        }
    }

    void advanceLater(MediaTime time) {
        if (wake && *wake <= time)
            return; // It will look again then.
        wake = time;
        if (!queue)
            queue = std::make_unique<SerialQueue>("orvel.compression");
        queue->asyncAfter(time - hostTime(), [this] {
            const std::lock_guard guard(lock);
            wake.reset();
            advance();
        });
    }

    void encode() {
        auto next = *std::exchange(waiting, std::nullopt);
        if (!open())
            return next.handler(nullptr);
        const auto unit = encoder->encode(*next.image, keyOwed, blocks.map(),
                                          budget.allowance(next.time, keyOwed));
        if (!unit)
            return next.handler(nullptr);
        keyOwed = false;
        blocks.encoded();
        budget.spend(static_cast<std::int64_t>(unit->data.size()) * 8);
        held = Result{*unit, next.time, std::move(next.handler)};
    }

    void send() {
        const auto result = *std::exchange(held, std::nullopt);
        const auto& [sequence, picture] = encoder->parameterSets();
        const EncodedSample sample{.data = result.unit.data,
                                   .presentationTime = result.time,
                                   .notSync = !result.unit.key,
                                   .parameterSets = {sequence, picture}};
        window.sent(hostTime(), result.size());
        result.handler(&sample);
    }

    void passOverWaiting() {
        if (const auto passed = std::exchange(waiting, std::nullopt))
            passed->handler(nullptr);
    }
};

std::unique_ptr<CompressionSession> CompressionSession::create(std::int32_t width,
                                                               std::int32_t height) {
    if (!isSide(width) || !isSide(height))
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
    const std::lock_guard guard(state->lock);
    constexpr int highest = 1000;
    if (state->encoder || framesPerSecond < 1 || framesPerSecond > highest)
        return false;
    state->settings.framesPerSecond = framesPerSecond;
    return true;
}

bool CompressionSession::setMaxAllowedFrameQP(int qp) {
    constexpr int coarsest = 51;
    const std::lock_guard guard(state->lock);
    if (state->encoder || qp < 1 || qp > coarsest)
        return false;
    state->settings.highestQP = qp;
    return true;
}

bool CompressionSession::setAverageBitRate(std::int64_t bitsPerSecond) {
    if (bitsPerSecond <= 0)
        return false;
    const std::lock_guard guard(state->lock);
    state->budget.setRate(bitsPerSecond);
    state->settings.bitsPerSecond = bitsPerSecond;
    return true;
}

bool CompressionSession::setDataRateLimits(std::int64_t bytes, double seconds) {
    using namespace std::chrono;
    constexpr double longest = 60; // Keeps the count of what was sent short.
    if (bytes <= 0 || !(seconds > 0 && seconds <= longest))
        return false;
    const std::lock_guard guard(state->lock);
    state->window.setLimit(bytes, duration_cast<nanoseconds>(duration<double>(seconds)));
    if (state->held || state->waiting) // There may be room now.
        state->advanceLater(hostTime());
    return true;
}

bool CompressionSession::prepareToEncode() {
    const std::lock_guard guard(state->lock);
    return !state->ended && state->open();
}

void CompressionSession::encodeFrame(ImageBuffer image, MediaTime presentationTime,
                                     FrameOptions options, OutputHandler handler) {
    const std::lock_guard guard(state->lock);
    if (state->ended || !image || image->format() != PixelFormat::video420 ||
        image->width() != state->settings.width || image->height() != state->settings.height)
        return handler(nullptr);
    state->passOverWaiting();
    state->blocks.follow(image->changes);
    state->keyOwed = state->keyOwed || options.forceKeyFrame;
    state->waiting = Submission{std::move(image), presentationTime, std::move(handler)};
    state->advance();
}

void CompressionSession::completeFrames() {
    const std::lock_guard guard(state->lock);
    while (state->held || state->waiting)
        state->takeStep();
}

void CompressionSession::invalidate() {
    const std::lock_guard guard(state->lock);
    state->ended = true;
    if (const auto unsent = std::exchange(state->held, std::nullopt))
        unsent->handler(nullptr);
    state->passOverWaiting();
    state->encoder.reset();
}

} // namespace platform
