#include "local/Capture.h"

#include "app/host/HostChannel.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace orvel {
namespace {

/// The applications that start this program; their windows would show the stream in itself.
const std::vector<std::string>& excludedApplications() {
    static const std::vector<std::string> identifiers{"com.quillmarsh.orvel.companion",
                                                      "brell.companion"};
    return identifiers;
}

platform::StreamConfiguration configuration(VideoSize size, int fps) {
    return {.width = size.width,
            .height = size.height,
            .pixelFormat = platform::PixelFormat::video420,
            .minimumFrameInterval = std::chrono::nanoseconds(std::chrono::seconds(1)) / fps,
            .showsCursor = true,
            .queueDepth = 4,
            .capturesAudio = false};
}

} // namespace

Capture::Capture(Display display, std::shared_ptr<Encoder> encoder, VideoSize size)
    : display(std::move(display)),
      encoder(std::move(encoder)),
      size(size) {}

void Capture::start(int fps) {
    const auto content = platform::shareableContent();
    if (std::ranges::find(content.displays, display.id) == content.displays.end())
        throw platform::CaptureError("orvel.screen", 1, "the display is not there");
    auto opening = std::make_unique<platform::CaptureStream>(
        platform::ContentFilter{display.id, excludedApplications()}, configuration(size, fps),
        streamDidStop);
    opening->addStreamOutput(
        [this](platform::SampleType type, const platform::CaptureSample& sample) {
            streamDidOutput(type, sample);
        },
        "orvel.screen.capture");
    opening->startCapture();
    stream = std::move(opening);
}

void Capture::streamDidOutput(platform::SampleType type,
                              const platform::CaptureSample& sample) const {
    if (type != platform::SampleType::screen || !sample.valid)
        return;
    if (sample.attachments.empty())
        return;
    if (sample.attachments.front().status != platform::FrameStatus::complete)
        return;
    if (!sample.image)
        return;
    encoder->captured(sample.image, sample.presentationTime);
}

void Capture::streamDidStop() {
    problem("capture", "The Mac stopped sharing its screen.");
    exitBehindFrames();
}

} // namespace orvel
