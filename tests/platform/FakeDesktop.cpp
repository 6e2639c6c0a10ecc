#include "platform/FakeDesktop.h"

#include "platform/Permissions.h"

#include <algorithm>

namespace test {

FakeDesktop& fakeDesktop() {
    static FakeDesktop desktop;
    return desktop;
}

} // namespace test

namespace platform {
namespace {

const test::FakeDisplay* find(DisplayID id) {
    const auto& displays = test::fakeDesktop().displays;
    const auto found = std::ranges::find(displays, id, &test::FakeDisplay::id);
    return found == displays.end() ? nullptr : &*found;
}

} // namespace

std::vector<DisplayID> activeDisplayList() {
    std::vector<DisplayID> ids;
    for (const auto& display : test::fakeDesktop().displays)
        ids.push_back(display.id);
    return ids;
}
DisplayID mainDisplayID() {
    return test::fakeDesktop().mainID;
}
Rect displayBounds(DisplayID display) {
    const auto* found = find(display);
    return found ? found->bounds : Rect{};
}
std::optional<std::int64_t> displayPixelWidth(DisplayID display) {
    const auto* found = find(display);
    if (!found)
        return std::nullopt;
    return static_cast<std::int64_t>(found->bounds.width);
}
std::vector<NamedScreen> namedScreens() {
    return test::fakeDesktop().screens;
}

bool preflightScreenCaptureAccess() {
    return true;
}
bool preflightPostEventAccess() {
    return test::fakeDesktop().mayPost;
}

ShareableContent shareableContent() {
    return {activeDisplayList()};
}

struct CaptureStream::State {
    std::shared_ptr<test::FakeStream> stream;
};

CaptureStream::CaptureStream(ContentFilter filter, StreamConfiguration configuration,
                             StopHandler stopped)
    : state(std::make_unique<State>()) {
    state->stream = std::make_shared<test::FakeStream>();
    state->stream->filter = std::move(filter);
    state->stream->configuration = configuration;
    state->stream->stopped = std::move(stopped);
    test::fakeDesktop().stream = state->stream;
}

CaptureStream::~CaptureStream() = default;

void CaptureStream::addStreamOutput(OutputHandler handler, const std::string&) {
    state->stream->output = std::move(handler);
}

void CaptureStream::startCapture() {
    state->stream->running = true;
}

} // namespace platform
