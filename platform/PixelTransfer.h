#pragma once

#include "platform/Area.h"
#include "platform/PixelBuffer.h"

#include <memory>

namespace platform {

/// Carries a bgra frame that changes a little at a time over into the frames of a video: scaled
/// to its size, each pixel the average of what it covers, so that small text stays readable; in
/// video420; and with a note of what changed from one to the next. Costs what has changed. Used by
/// one thread at a time.
class PixelTransferSession final {
public:
    PixelTransferSession();
    ~PixelTransferSession();
    PixelTransferSession(const PixelTransferSession&) = delete;
    PixelTransferSession& operator=(const PixelTransferSession&) = delete;

    /// From now on the source has one size (each side 1 to `maxFrameSide` pixels), the video
    /// another (even sides), and all of the frame is new.
    void setSizes(int sourceWidth, int sourceHeight, int videoWidth, int videoHeight);

    /// Says that a part of the source has changed. What is outside does not count.
    void changed(const Area& area);

    /// The source as it is now. Returns nullptr if it has another size than was set, or if there
    /// is no memory for the frame, which is worth another try.
    ImageBuffer transfer(const FrameView& source);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace platform
