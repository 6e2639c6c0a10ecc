#pragma once

#include "platform/Clock.h"
#include "platform/PixelBuffer.h"
#include "platform/Queue.h"
#include "platform/Screens.h"

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace platform {

/// Why a capture could not be had: an error domain, a code within it, and words for a developer.
class CaptureError : public std::runtime_error {
public:
    CaptureError(std::string domain, int code, const std::string& what)
        : std::runtime_error(what),
          domain(std::move(domain)),
          code(code) {}

    std::string domain;
    int code;
};

/// What can be captured now.
struct ShareableContent {
    std::vector<DisplayID> displays;
};
/// Throws CaptureError if the desktop cannot be reached.
ShareableContent shareableContent();

/// One display, without the windows of some applications: what lies behind them is seen instead.
struct ContentFilter {
    DisplayID display = 0;
    /// Application identifiers. A desktop knows an application only by its windows, so one that
    /// opens its first window while the capture runs is left out just the same.
    std::vector<std::string> excludedApplications;
};

struct StreamConfiguration {
    std::int64_t width = 0; ///< Of the frames delivered, in pixels; the display is scaled to it.
    std::int64_t height = 0;
    PixelFormat pixelFormat = PixelFormat::video420;
    std::chrono::nanoseconds minimumFrameInterval{0};
    bool showsCursor = true;
    int queueDepth = 4; ///< Frames in flight: handed out by the stream and not yet given back.
    bool capturesAudio = false;
};

enum class SampleType { screen, audio };
enum class FrameStatus { complete = 0, idle, blank, suspended, started, stopped };

struct FrameAttachments {
    std::optional<FrameStatus> status;
};

/// A frame of a stream, with what is known of it.
struct CaptureSample {
    bool valid = false;
    std::vector<FrameAttachments> attachments;
    ImageBuffer image;
    MediaTime presentationTime; ///< When the screen looked like this, on the host clock.
};

/// Captures one display: a sample whenever something on it has changed, no sooner than the minimum
/// interval after the one before, always with the newest contents; nothing while nothing changes.
class CaptureStream final {
public:
    using OutputHandler = std::function<void(SampleType, const CaptureSample&)>;
    using StopHandler = std::function<void()>;

    /// `stopped` is called once, on any thread, if the stream ends by itself: the display is gone,
    /// or the desktop.
    CaptureStream(ContentFilter filter, StreamConfiguration configuration, StopHandler stopped);
    /// Ends the capture and waits for a handler that is running. Never from a handler.
    ~CaptureStream();
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

    /// Where samples go: `handler` is called one sample at a time on the stream's own thread,
    /// which is named `threadLabel`. Before `startCapture`, once. Throws CaptureError.
    void addStreamOutput(OutputHandler handler, const std::string& threadLabel);
    /// Returns when the capture runs. Throws CaptureError.
    void startCapture();

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace platform
