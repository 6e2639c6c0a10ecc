#include "platform/VideoCompression.h"

/// Stands behind VideoCompression.h: every frame is encoded at once, to two bytes.
namespace platform {

struct CompressionSession::State {};

std::unique_ptr<CompressionSession> CompressionSession::create(std::int32_t, std::int32_t) {
    return std::unique_ptr<CompressionSession>(new CompressionSession(nullptr));
}

CompressionSession::CompressionSession(std::unique_ptr<State> state) : state(std::move(state)) {}
CompressionSession::~CompressionSession() = default;

bool CompressionSession::setRealTime(bool) {
    return true;
}
bool CompressionSession::setAllowFrameReordering(bool) {
    return true;
}
bool CompressionSession::setMaxFrameDelayCount(int) {
    return true;
}
bool CompressionSession::setProfileLevel(VideoProfile) {
    return true;
}
bool CompressionSession::setExpectedFrameRate(int) {
    return true;
}
bool CompressionSession::setAverageBitRate(std::int64_t) {
    return true;
}
bool CompressionSession::setDataRateLimits(std::int64_t, double) {
    return true;
}
bool CompressionSession::setPrioritizeEncodingSpeedOverQuality(bool) {
    return true;
}
bool CompressionSession::setMaxAllowedFrameQP(int) {
    return true;
}
bool CompressionSession::prepareToEncode() {
    return true;
}

void CompressionSession::encodeFrame(ImageBuffer, MediaTime time, FrameOptions options,
                                     OutputHandler handler) {
    static constexpr std::array<std::uint8_t, 6> unit{0, 0, 0, 2, 0x41, 0x80};
    const EncodedSample sample{unit, time, !options.forceKeyFrame, {}};
    handler(&sample);
}

void CompressionSession::completeFrames() {}
void CompressionSession::invalidate() {}

} // namespace platform
