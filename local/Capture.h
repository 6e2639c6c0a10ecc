#pragma once

#include "app/host/Displays.h"
#include "local/Encoder.h"
#include "local/VideoSize.h"
#include "platform/ScreenCapture.h"

#include <memory>

namespace orvel {

/// Captures a display and hands every complete frame to the encoder, without the windows of the
/// companion application. When the system ends the capture, reports it and ends the process.
class Capture final {
public:
    Capture(Display display, std::shared_ptr<Encoder> encoder, VideoSize size);

    /// Starts the capture at up to `fps` frames a second and returns when it runs. Called once, on
    /// any thread. Throws platform::CaptureError.
    void start(int fps);

private:
    /// What happens with a sample on the capture thread: its frame goes to the encoder if it is
    /// a complete one of the screen.
    void streamDidOutput(platform::SampleType type, const platform::CaptureSample& sample) const;
    /// What happens when the system ends the capture, on whatever thread it says so.
    static void streamDidStop();

    std::unique_ptr<platform::CaptureStream> stream; // present while the capture runs
    const Display display;
    const std::shared_ptr<Encoder> encoder;
    const VideoSize size;
};

} // namespace orvel
