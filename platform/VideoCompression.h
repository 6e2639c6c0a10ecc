#pragma once

#include "platform/Clock.h"
#include "platform/PixelBuffer.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace platform {

enum class VideoProfile { constrainedHigh };

/// One encoded access unit. Everything it points to belongs to the session and is valid only
/// while the output handler runs.
struct EncodedSample {
    /// NAL units, each after its length as 4 big-endian bytes (ISO/IEC 14496-15), in one run.
    std::span<const std::uint8_t> data;
    MediaTime presentationTime;
    /// Whether other samples are needed to decode this one; unknown counts as no.
    std::optional<bool> notSync;
    /// Sequence and picture parameter set, without start code or length.
    std::array<std::span<const std::uint8_t>, 2> parameterSets;
};

struct FrameOptions {
    bool forceKeyFrame = false;
};

/// A real-time H.264 encoder without delay: the sample of a frame is out before `encodeFrame`
/// returns, unless the data rate limit holds it back.
///
/// Data rate limit. The session keeps count of the bytes of the last second. While there is no
/// room for a typical frame nothing is encoded and the newest frame waits; a frame that came
/// out larger than the room left is held until it fits. A key frame that is owed is sent even if
/// it alone exceeds the limit. Waiting and held frames leave on the session's own thread.
///
/// The setters say whether the setting is in effect. Those about the stream's form act only
/// before `prepareToEncode`; the rates act from the next frame on, at any time, and never cause
/// a key frame. Every operation may be called from any thread.
class CompressionSession final {
public:
    /// Called once for each frame handed in, on the thread that hands it in or on the session's
    /// own, one call at a time: with its sample, or without one if the frame was passed over for
    /// a newer one, could not be encoded, or met a session that had ended. It returns soon and does
    /// not call the session.
    using OutputHandler = std::function<void(const EncodedSample*)>;

    /// A session for frames of this size (both sides even, 2 to `maxFrameSide`). Returns nullptr if
    /// the encoder cannot be had for it.
    static std::unique_ptr<CompressionSession> create(std::int32_t width, std::int32_t height);
    ~CompressionSession(); ///< Invalidates.
    CompressionSession(const CompressionSession&) = delete;
    CompressionSession& operator=(const CompressionSession&) = delete;

    bool setRealTime(bool realTime);
    bool setAllowFrameReordering(bool allow);
    bool setMaxFrameDelayCount(int frames);
    bool setProfileLevel(VideoProfile profile); ///< The level follows from size and rate.
    bool setExpectedFrameRate(int framesPerSecond);
    bool setAverageBitRate(std::int64_t bitsPerSecond);
    /// At most `bytes` in any window of `seconds`.
    bool setDataRateLimits(std::int64_t bytes, double seconds);
    bool setPrioritizeEncodingSpeedOverQuality(bool prioritize);
    bool setMaxAllowedFrameQP(int qp); ///< 1 to 51.
    /// Opens the encoder, so that the first frame does not wait for it.
    bool prepareToEncode();

    /// Encodes a video420 frame of the session's size. Times must increase strictly; the
    /// average rate is kept along them.
    void encodeFrame(ImageBuffer image, MediaTime presentationTime, FrameOptions options,
                     OutputHandler handler);
    /// Sends what is held or waiting now, whatever the limit says, and returns when it is out.
    void completeFrames();
    /// Ends the session: later frames get no sample.
    void invalidate();

private:
    struct State;
    explicit CompressionSession(std::unique_ptr<State> state);
    std::unique_ptr<State> state;
};

} // namespace platform
