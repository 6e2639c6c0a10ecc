#include "local/StreamCommand.h"

#include "app/host/ControlMessages.h"
#include "app/host/Displays.h"
#include "app/host/HostChannel.h"
#include "app/host/HostWatch.h"
#include "app/host/SessionControl.h"
#include "clipboard/Clipboard.h"
#include "input/Input.h"
#include "local/Capture.h"
#include "local/DisplayChoice.h"
#include "local/Encoder.h"
#include "local/VideoSize.h"
#include "platform/Permissions.h"
#include "platform/Queue.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <future>
#include <memory>
#include <thread>

namespace orvel {
namespace {

/// How long a desktop that is stuck may keep the session from starting once standard input has
/// ended.
constexpr auto startTime = std::chrono::seconds(10);
/// How long the end of standard input waits for what came before it to be typed.
constexpr auto typingTime = std::chrono::seconds(1);

[[noreturn]] void giveUp(const char* code, const char* message) {
    problem(code, message);
    flushAndExit();
}

StartMessage readStartMessage(LineReader& lines) {
    const auto line = lines.next();
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

/// What control messages act on. Key frames and rates act at once; input and clipboard belong to
/// the main queue, where their messages arrive in the order of their lines.
struct LocalSession {
    std::shared_ptr<Encoder> encoder;
    std::shared_ptr<Input> input;
    std::shared_ptr<Clipboard> clipboard;

    void askKey() const { encoder->askKey(); }
    void setRate(std::int64_t kbps) const { encoder->setRate(kbps); }

    void handle(nlohmann::json message) const {
        platform::mainQueue([*this, message = std::move(message)] {
            const auto type = messageType(message);
            if (type == "clip")
                clipboard->write(stringField(message, "s").value_or(""));
            else if (type == "clipsync")
                clipboard->sync(booleanField(message, "on").value_or(false));
            else if (type == "first")
                input->phoneFirst = booleanField(message, "on").value_or(false);
            else
                input->handle(message);
        });
    }

    /// Whoever hangs up has meant what was sent before. Behind all of it on the main queue, which
    /// a desktop that is stuck may be holding up.
    void stop() const {
        encoder->stop();
        const auto finished = std::make_shared<std::promise<void>>();
        platform::mainQueue([input = input, finished] {
            input->finish(typingTime);
            finished->set_value();
        });
        finished->get_future().wait_for(typingTime);
    }
};

} // namespace

void stream(const std::optional<std::string>& displayArg) {
    std::signal(SIGPIPE, SIG_IGN);
    const HostWatch watch(startTime);
    const auto displays = activeDisplays();
    const auto* chosen = chosenDisplay(displays, displayArg);
    if (!chosen)
        giveUp("no_display", "This Mac has no display to share.");

    LineReader lines(STDIN_FILENO);
    const auto start = readStartMessage(lines);
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

    const LocalSession session{encoder, std::make_shared<Input>(*chosen),
                               std::make_shared<Clipboard>()};
    std::thread control([&] { serveControl(lines, session); });
    platform::runMainLoop();
    flushAndExit();
}

} // namespace orvel
