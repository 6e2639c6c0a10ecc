#pragma once

#include "platform/Clock.h"
#include "platform/Mutex.h"
#include "platform/PixelBuffer.h"
#include "platform/VideoCompression.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace orvel {

/// Turns frames into low-delay H.264 and emits each access unit as a 'V' frame. It sends the
/// last frame again by itself where that does the phone good: to answer a request for a key
/// frame while nothing moves, and twice after the last of a series of frames, which lets the
/// quality settle. Callable from any thread.
class Encoder final : public std::enable_shared_from_this<Encoder> {
public:
    /// Returns an encoder for frames of this size in pixels, ready to encode, or nullptr if the
    /// platform has none or no memory for it. The caller keeps fps within 1 to 60 and kbps within
    /// 200 to 20000.
    static std::shared_ptr<Encoder> create(std::int32_t width, std::int32_t height, int fps,
                                           int kbps);

    /// Makes the next frame a key frame; if none comes within 0.15 s, the last one again.
    void askKey();
    /// Changes the average bit rate and its cap from the next frame on; clamped to 200 to 20000.
    void setRate(std::int64_t kbps);
    /// Encodes a captured frame, and once more 0.3 s and 1.2 s later unless a newer one has come.
    void captured(platform::ImageBuffer image, platform::MediaTime time);
    /// Encodes a frame, once.
    void encode(platform::ImageBuffer image, platform::MediaTime time);
    /// Emits what is pending and ends the session; whatever is handed in later is ignored.
    void stop();

private:
    Encoder() = default;
    void submit(platform::ImageBuffer image, platform::MediaTime time) REQUIRES(lock);
    /// Has the newest frame submitted once the parent keeps up with what it is sent.
    void submitLater() REQUIRES(lock);
    void submitAgainUnlessNewer(std::int64_t than);
    static void send(const platform::EncodedSample* sample);

    /// Null once stopped. Atomic, since `stop` and `setRate` don't take `lock`, which is held while
    /// a frame is encoded; shared, so that a thread that still uses the session keeps it.
    std::atomic<std::shared_ptr<platform::CompressionSession>> session;
    /// Held for a whole submission, so that one frame enters the session at a time.
    platform::Mutex lock;
    /// The next frame is to be a key frame.
    bool wantKey GUARDED_BY(lock) = true;
    /// The newest frame, and the time of the one submitted last.
    platform::ImageBuffer last GUARDED_BY(lock);
    platform::MediaTime lastAt GUARDED_BY(lock);
    /// Frames that came through `captured`.
    std::int64_t captures GUARDED_BY(lock) = 0;
    /// `last` is submitted once the parent keeps up.
    bool postponed GUARDED_BY(lock) = false;
};

} // namespace orvel
