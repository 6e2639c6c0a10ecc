#include "platform/ScreenCapture.h"

#include "platform/x11/Connection.h"

namespace platform {

ShareableContent shareableContent() {
    return {activeDisplayList()};
}

struct CaptureStream::State {};

CaptureStream::CaptureStream(ContentFilter, StreamConfiguration, StopHandler)
    : state(std::make_unique<State>()) {}
CaptureStream::~CaptureStream() = default;
void CaptureStream::addStreamOutput(OutputHandler, const std::string&) {}
void CaptureStream::startCapture() {
    throw CaptureError("orvel.x11", 0, "capture follows in the next step");
}

} // namespace platform
