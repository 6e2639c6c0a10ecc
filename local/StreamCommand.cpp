#include "local/StreamCommand.h"

#include "app/ControlMessages.h"
#include "app/Displays.h"
#include "app/HostChannel.h"
#include "local/Capture.h"
#include "local/DisplayChoice.h"
#include "local/Encoder.h"
#include "local/VideoSize.h"
#include "platform/Permissions.h"
#include "platform/Queue.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <csignal>
#include <memory>
#include <thread>

namespace orvel {
namespace {

[[noreturn]] void giveUp(const char* code, const char* message) {
    problem(code, message);
    flushAndExit();
}

StartMessage readStartMessage(LineReader& input) {
    const auto line = input.next();
    const auto message = line ? controlMessage(*line) : std::nullopt;
    const auto start = message ? startMessage(*message) : std::nullopt;
    if (!start)
        flushAndExit();
    return *start;
}

VideoSize sizeOf(const Display& display, int maxw) {
    const auto pixelWidth = platform::displayPixelWidth(display.id);
    return videoSize(display.bounds,
                     pixelWidth.value_or(static_cast<std::int64_t>(display.bounds.width)), maxw);
}

void announce(VideoSize size, const Display& chosen, const std::vector<Display>& displays,
              bool mayCapture) {
    emitJSON(FrameType::announcement, {{"w", size.width},
                                       {"h", size.height},
                                       {"display", std::to_string(chosen.id)},
                                       {"displays", displaysJSON(displays)},
                                       {"screen", mayCapture},
                                       {"input", platform::preflightPostEventAccess()}});
}

void startCapture(const std::shared_ptr<Capture>& capture, int fps) {
    platform::globalQueue([capture, fps] {
        try {
            capture->start(fps);
        } catch (const std::exception&) {
            problem("capture", "The Mac did not start sharing its screen.");
            exitBehindFrames();
        }
    });
}

void dispatch(const nlohmann::json& message, Encoder& encoder) {
    const auto type = messageType(message);
    if (type == "idr") {
        encoder.askKey();
    } else if (type == "rate") {
        if (const auto kbps = integerField(message, "kbps"))
            encoder.setRate(*kbps);
    }
}

[[noreturn]] void serveControl(LineReader& input, Encoder& encoder) {
    while (const auto line = input.next())
        if (const auto message = controlMessage(*line))
            dispatch(*message, encoder);
    encoder.stop();
    flushAndExit();
}

} // namespace

void stream(const std::optional<std::string>& displayArg) {
    std::signal(SIGPIPE, SIG_IGN);
    const auto displays = activeDisplays();
    const auto* chosen = chosenDisplay(displays, displayArg);
    if (!chosen)
        giveUp("no_display", "This Mac has no display to share.");

    LineReader input(STDIN_FILENO);
    const auto start = readStartMessage(input);
    const auto size = sizeOf(*chosen, start.maxw);
    const bool mayCapture = platform::preflightScreenCaptureAccess();
    announce(size, *chosen, displays, mayCapture);
    if (!mayCapture)
        giveUp("screen_permission",
               "Allow Orvel Companion under Screen Recording in System Settings on this Mac.");

    const auto encoder =
        Encoder::create(static_cast<std::int32_t>(size.width),
                        static_cast<std::int32_t>(size.height), start.fps, start.kbps);
    if (!encoder)
        giveUp("encoder", "This Mac could not start its video encoder.");
    const auto capture = std::make_shared<Capture>(*chosen, encoder, size);
    startCapture(capture, start.fps);

    std::thread control([&] { serveControl(input, *encoder); });
    platform::runMainLoop();
    flushAndExit();
}

} // namespace orvel
