#pragma once

#include "platform/Clock.h"
#include "platform/h264/BitBudget.h"
#include "platform/h264/RateWindow.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace platform::h264 {

/// Decides when frames are encoded and sent, so that a stream keeps to its rates. A frame that was
/// handed in waits until there is room for a typical one and for what it is expected to take, is
/// encoded, is held until there is room for the bytes it came to, and is sent. At most one frame
/// waits and one is held, and nothing is encoded while one is held. A key frame that is owed does
/// not wait for room: it may exceed the limit, but not on top of another frame that does already.
/// Pure: it knows no frame, only sizes and times, and the caller tells the time, which never goes
/// back.
class SendSchedule {
public:
    explicit SendSchedule(std::int64_t bitsPerSecond)
        : budget(bitsPerSecond),
          rate(bitsPerSecond) {}

    void setFrameRate(int perSecond) { framesPerSecond = perSecond; }
    void setAverageBitRate(std::int64_t bitsPerSecond);
    /// At most `bytes` in any `window`; without a limit there is always room.
    void setLimit(std::int64_t bytes, std::chrono::nanoseconds window) {
        sentBytes.setLimit(bytes, window);
    }

    /// A frame was handed in, which takes the place of one that is waiting. A wish for a key frame
    /// stays until there is one; the first frame is always a key frame.
    void submit(bool wantKey);

    enum class Step { encode, send };
    struct Due {
        Step step;
        MediaTime time; ///< Not after `now` if it is due.
    };
    /// What is to be done next and when; nullopt if no frame waits and none is held.
    std::optional<Due> next(MediaTime now);

    struct Order {
        bool key;
        std::int64_t maxBits; ///< What the frame should take at most.
    };
    /// How the frame that waits is to be encoded. A refresh, which is the frame encoded last again,
    /// may spend what is left of the limit, but for a frame as large as the last change: the next
    /// one must not wait.
    Order order(MediaTime frameTime, MediaTime now, bool refresh);
    /// Whether there is room for the frame that waits, which is expected to take this many bytes.
    /// If not, it had better go on waiting: once encoded it could not be replaced by a newer one.
    bool hasRoomFor(std::int64_t bytes, MediaTime now);
    /// The frame that waits is taken away to be encoded. Unless `encoded` follows it is as if it
    /// had never been handed in.
    void takeWaiting();
    /// It came to this many bytes and is held.
    void encoded(std::int64_t bytes);
    /// The frame that is held goes out.
    void send(MediaTime now);
    /// No frame waits or is held any more.
    void clear();

private:
    struct Held {
        std::int64_t bytes;
        bool key;
    };
    std::int64_t expectedBytes() const {
        return keyOwed ? 0 : std::max(rate / 8 / framesPerSecond, foreseen);
    }

    void keepInMind(std::int64_t bytes);

    BitBudget budget;
    RateWindow sentBytes;
    MediaTime takenAt;           // The frame that is being encoded.
    bool refreshing = false;     // And whether it is a refresh.
    std::int64_t lastChange = 0; // In bytes: the largest one, less as time passes.
    MediaTime lastChangeAt;
    std::int64_t rate; // in bits a second
    int framesPerSecond = 30;
    bool keyOwed = true;
    bool waiting = false;
    std::int64_t foreseen = 0; // In bytes: of a frame that waits because of that.
    std::optional<Held> held;
};

} // namespace platform::h264
