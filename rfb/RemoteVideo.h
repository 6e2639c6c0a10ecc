#pragma once

#include "local/Encoder.h"
#include "platform/Area.h"
#include "platform/Mutex.h"
#include "platform/PixelTransfer.h"
#include "platform/Queue.h"
#include "rfb/Framebuffer.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace orvel {

/// Makes the video of a remote desktop: announces it, and turns the framebuffer into frames, at
/// most `fps` of them a second and always of its newest state. Everything that touches the encoder
/// runs on the queue of this class.
///
/// Keeps the thread that draws on the framebuffer apart from the queue that reads it: no frame
/// shows a rectangle that is drawn by half. The queue never waits for a rectangle, whose pixels may
/// be long in coming: a frame that meets one is put off, and made before the next one begins.
class RemoteVideo final {
public:
    /// Reads the framebuffer, which must live longer. `name` is the desktop's, for people. The
    /// bounds are those of VNCSession.
    RemoteVideo(const Framebuffer& framebuffer, std::string name, int fps, int kbps, int maxw);

    /// The session thread encloses in these every change of the framebuffer. A change that fails
    /// has no end, and there are no further frames.
    void beginDrawing() EXCLUDES(lock);
    void endDrawing(const platform::Area& drawn) EXCLUDES(lock);

    // The operations of VNCSession.
    bool announce();
    void changed() EXCLUDES(lock);
    void askKey();
    void setRate(std::int64_t wanted);

    /// Emits what is pending; no frame and no announcement comes afterwards. Any thread but the
    /// queue's.
    void stop();

private:
    using Clock = std::chrono::steady_clock;

    void renewEncoder();
    void emitAnnouncement(int width, int height) const;
    void scheduleFrame(Clock::duration delay);
    void encode() EXCLUDES(lock);

    const Framebuffer& framebuffer;
    const std::string name;
    const int fps;
    const int maxw;

    // Of the queue.
    int kbps;
    std::shared_ptr<Encoder> encoder;
    bool stopped = false;
    Framebuffer::Size announcedSize{}; // the screen's size that the encoder was made for

    /// Turns the framebuffer into frames; belongs to whoever draws or converts.
    platform::PixelTransferSession transfer;

    platform::Mutex lock;
    platform::Condition converted;                                // a frame
    bool pending GUARDED_BY(lock) = false;                        // a frame is scheduled
    std::optional<Clock::time_point> lastEncode GUARDED_BY(lock); // when the last one began
    bool drawing GUARDED_BY(lock) = false;                        // on the framebuffer
    bool converting GUARDED_BY(lock) = false;                     // the framebuffer
    bool postponed GUARDED_BY(lock) = false;                      // a frame, by drawing

    // Last, so that it ends first: none of its tasks outlives what they touch.
    platform::SerialQueue encodeQueue{"orvel.vnc.encode"};
};

} // namespace orvel
