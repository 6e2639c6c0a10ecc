#include "support/Process.h"
#include "support/XRecorder.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>

/// A desktop for tests in a browser: a window over the whole 640x480 screen, its quarters in known
/// colours, that prints every button and key it gets as a line of JSON. Ends with its X server.
namespace {

using test::XInput;

constexpr test::Box screen{0, 0, 640, 480};
constexpr int halfWidth = screen.width / 2;
constexpr int halfHeight = screen.height / 2;

const char* nameOf(XInput::Kind kind) {
    switch (kind) {
    case XInput::Kind::keyPress:
        return "key";
    case XInput::Kind::buttonPress:
        return "down";
    case XInput::Kind::buttonRelease:
        return "up";
    default:
        return nullptr;
    }
}

void paint(const test::XRecorder& recorder) {
    const auto quarter = [&](int column, int row, std::uint32_t colour) {
        recorder.client().fill(recorder.window(),
                               {column * halfWidth, row * halfHeight, halfWidth, halfHeight},
                               colour);
    };
    quarter(0, 0, 0xC02020);
    quarter(1, 0, 0x20A040);
    quarter(0, 1, 0x2040C0);
    quarter(1, 1, 0xE0E0E0);
    recorder.client().sync();
}

void print(const XInput& input) {
    const auto* kind = nameOf(input.kind);
    if (!kind)
        return;
    std::cout << nlohmann::json{{"kind", kind},         {"detail", input.detail},
                                {"state", input.state}, {"x", input.x},
                                {"y", input.y},         {"text", input.text},
                                {"name", input.name}}
              << std::endl;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: browser-desktop DISPLAY\n", stderr);
        return 2;
    }
    test::XRecorder recorder(arguments[1], screen);
    paint(recorder);
    std::cout << "{}" << std::endl;
    std::size_t printed = 0;
    test::eventually(
        [&] {
            const auto events = recorder.events();
            for (; printed < events.size(); ++printed)
                print(events[printed]);
            return xcb_connection_has_error(recorder.client().connection()) != 0;
        },
        std::chrono::hours(1));
    // The recorder's thread went with the connection; there is nobody left to say goodbye to.
    std::_Exit(0);
}
