#include "support/Process.h"
#include "support/XRecorder.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <iostream>
#include <map>

/// A desktop for tests in a browser: a window over the whole 640x480 screen, its quarters in known
/// colours, that prints every button and key it gets as a line of JSON. Ends with its X server.
int main(int, char** arguments) {
    using test::XInput;
    const std::map<XInput::Kind, const char*> names{{XInput::Kind::keyPress, "key"},
                                                    {XInput::Kind::buttonPress, "down"},
                                                    {XInput::Kind::buttonRelease, "up"}};
    test::XRecorder recorder(arguments[1], {0, 0, 640, 480});
    const auto& client = recorder.client();
    client.fill(recorder.window(), {0, 0, 320, 240}, 0xC02020);
    client.fill(recorder.window(), {320, 0, 320, 240}, 0x20A040);
    client.fill(recorder.window(), {0, 240, 320, 240}, 0x2040C0);
    client.fill(recorder.window(), {320, 240, 320, 240}, 0xE0E0E0);
    client.sync();
    std::cout << "{}" << std::endl;
    std::size_t printed = 0;
    test::eventually(
        [&] {
            const auto events = recorder.events();
            for (; printed < events.size(); ++printed) {
                const auto& [kind, detail, state, x, y, text, name, arrived] = events[printed];
                if (names.contains(kind))
                    std::cout << nlohmann::json{{"kind", names.at(kind)},
                                                {"detail", detail},
                                                {"state", state},
                                                {"x", x},
                                                {"y", y},
                                                {"text", text},
                                                {"name", name}}
                              << std::endl;
            }
            return xcb_connection_has_error(client.connection()) != 0;
        },
        std::chrono::hours(1));
    // The recorder's thread went with the connection; there is nobody left to say goodbye to.
    std::_Exit(0);
}
