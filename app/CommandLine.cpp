#include "app/CommandLine.h"

#include "app/Info.h"
#include "local/StreamCommand.h"
#include "rfb/VNCStreamCommand.h"
#include "rfb/VNCTestCommand.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {
namespace {

constexpr std::string_view usage =
    "usage: orvel-screen info | stream [--display ID] | vnc|vnc-test --host H --port P\n";

int usageError() {
    // Nothing is left to try if standard error can't be written either.
    [[maybe_unused]] const auto written = write(STDERR_FILENO, usage.data(), usage.size());
    return 2;
}

/// The text behind the first "--display", if any stands behind it.
std::optional<std::string> displayArgument(Arguments arguments) {
    const auto option = std::ranges::find(arguments, std::string_view{"--display"});
    if (option == arguments.end() || option + 1 == arguments.end())
        return std::nullopt;
    return *(option + 1);
}

} // namespace

int runCommand(Arguments arguments) {
    const std::string_view command = arguments.empty() ? "" : arguments.front();
    if (command == "info") {
        info();
    } else if (command == "stream") {
        stream(displayArgument(arguments));
    } else if (command == "vnc") {
        vncStream(arguments);
    } else if (command == "vnc-test") {
        vncTest(arguments);
    } else {
        return usageError();
    }
    return 0;
}

} // namespace orvel
