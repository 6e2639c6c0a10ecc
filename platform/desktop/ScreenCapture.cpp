#include "platform/ScreenCapture.h"

#include "platform/Queue.h"
#include "platform/desktop/Choice.h"
#include "platform/wayland/capture/CaptureLoop.h"
#include "platform/x11/capture/CaptureLoop.h"

#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace platform {

namespace {

/// Of the desktop that this process serves.
using Loop = std::variant<std::unique_ptr<x11::CaptureLoop>, std::unique_ptr<wayland::CaptureLoop>>;

Loop openLoop(const ContentFilter& filter, const StreamConfiguration& configuration) {
    if (desktop::isWayland())
        return std::make_unique<wayland::CaptureLoop>(filter, configuration);
    return std::make_unique<x11::CaptureLoop>(filter, configuration);
}

[[noreturn]] void fail(const std::string& why) {
    throw CaptureError("orvel.desktop", 1, why);
}

void check(const StreamConfiguration& configuration) {
    if (configuration.pixelFormat != PixelFormat::video420)
        fail("frames are made in video420 only");
    if (!isVideoSide(configuration.width) || !isVideoSide(configuration.height))
        fail("frames have even sides of up to " + std::to_string(maxFrameSide) + " pixels");
    if (configuration.queueDepth < 1)
        fail("a stream needs at least one frame");
}

} // namespace

ShareableContent shareableContent() {
    ShareableContent content;
    for (const auto& display : activeDisplayList())
        content.displays.push_back(display.id);
    if (content.displays.empty())
        fail("there is no desktop to be reached");
    return content;
}

struct CaptureStream::State {
    ContentFilter filter;
    StreamConfiguration configuration;
    StopHandler stopped;
    OutputHandler output;
    std::string threadLabel;
    std::optional<Loop> loop;
    std::optional<SerialQueue> thread; // runs the loop as its only task

    void capture() {
        try {
            if (std::visit([&](auto& each) { return each->run(output); }, *loop))
                return;
        } catch (const std::exception&) {
            // Memory ran out: the stream is over, and its owner is told like of any other end.
        }
        stopped();
    }
};

CaptureStream::CaptureStream(ContentFilter filter, StreamConfiguration configuration,
                             StopHandler stopped)
    : state(std::make_unique<State>()) {
    state->filter = std::move(filter);
    state->configuration = configuration;
    state->stopped = std::move(stopped);
}

CaptureStream::~CaptureStream() {
    if (state->loop)
        std::visit([](auto& each) { each->stop(); }, *state->loop);
}

void CaptureStream::addStreamOutput(OutputHandler handler, const std::string& threadLabel) {
    state->output = std::move(handler);
    state->threadLabel = threadLabel;
}

void CaptureStream::startCapture() {
    if (!state->output)
        fail("nobody wants the samples");
    check(state->configuration);
    state->loop = openLoop(state->filter, state->configuration);
    state->thread.emplace(state->threadLabel);
    state->thread->async([running = state.get()] { running->capture(); });
}

} // namespace platform
