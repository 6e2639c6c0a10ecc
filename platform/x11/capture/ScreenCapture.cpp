#include "platform/ScreenCapture.h"

#include "platform/Queue.h"
#include "platform/x11/capture/CaptureLoop.h"
#include "platform/x11/server/Monitors.h"

#include <exception>
#include <optional>
#include <utility>

namespace platform {

using x11::CaptureLoop;

ShareableContent shareableContent() {
    const auto connection = x11::Connection::open();
    if (!connection)
        throw CaptureError("orvel.x11", 1, "there is no X server to be reached");
    ShareableContent content;
    for (const auto& monitor : x11::monitors(*connection))
        content.displays.push_back(monitor.id);
    return content;
}

struct CaptureStream::State {
    ContentFilter filter;
    StreamConfiguration configuration;
    StopHandler stopped;
    OutputHandler output;
    std::string threadLabel;
    std::unique_ptr<CaptureLoop> loop;
    std::optional<SerialQueue> thread; // runs the loop as its only task

    void film() const {
        try {
            if (loop->run(output))
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
        state->loop->stop();
}

void CaptureStream::addStreamOutput(OutputHandler handler, const std::string& threadLabel) {
    state->output = std::move(handler);
    state->threadLabel = threadLabel;
}

void CaptureStream::startCapture() {
    if (!state->output)
        throw CaptureError("orvel.x11", 1, "nobody wants the samples");
    state->loop = std::make_unique<CaptureLoop>(state->filter, state->configuration);
    state->thread.emplace(state->threadLabel);
    state->thread->async([film = state.get()] { film->film(); });
}

} // namespace platform
