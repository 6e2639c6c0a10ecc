#pragma once

#include "platform/ScreenCapture.h"
#include "platform/Screens.h"

#include <optional>
#include <vector>

/// Stands behind Screens.h, Permissions.h and ScreenCapture.h in the unit tests.
namespace test {

struct FakeDisplay {
    platform::DisplayID id = 0;
    platform::Rect bounds;
};

/// A capture stream as the program under test has set it up.
struct FakeStream {
    platform::ContentFilter filter;
    platform::StreamConfiguration configuration;
    platform::CaptureStream::StopHandler stopped;
    platform::CaptureStream::OutputHandler output;
    bool running = false;
};

struct FakeDesktop {
    std::vector<FakeDisplay> displays{};
    std::vector<platform::NamedScreen> screens{};
    platform::DisplayID mainID = 0;
    bool mayPost = true;
    std::shared_ptr<FakeStream> stream{}; ///< The one made last.
};

/// The desktop that the platform functions show; a test sets it up as it needs it.
FakeDesktop& fakeDesktop();

} // namespace test
