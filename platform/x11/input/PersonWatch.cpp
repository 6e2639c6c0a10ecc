#include "platform/x11/input/PersonWatch.h"

#include <xcb/screensaver.h>
#include <xcb/xinput.h>

#include <utility>

namespace platform::x11 {
namespace {

using namespace std::chrono_literals;

constexpr auto pollInterval = 250ms;
/// How far apart the server's time of an input and ours may be: it counts milliseconds, and asking
/// takes a moment.
constexpr auto clockTolerance = 20ms;
/// A mouse may report a thousand moves a second. After one, no other is asked for during this time.
constexpr auto restFromMotion = 50ms;

constexpr std::uint32_t motions =
    XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_UPDATE;
constexpr std::uint32_t presses = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS |
                                  XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
                                  XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_BEGIN;
constexpr std::uint32_t releases = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE |
                                   XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE |
                                   XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_END;

/// XInput 2 numbers its masks' bits like its events.
bool isOneOf(std::uint32_t rawEvents, std::uint16_t type) {
    return (rawEvents >> type & 1) != 0;
}

} // namespace

PersonWatch::PersonWatch(const Connection& connection, InputDevices present,
                         EventHandlers& handlers, Handler handler)
    : connection(connection),
      devices(std::move(present)),
      personActed(std::move(handler)) {
    lastInput = lastInputOfAnyKind().value_or(never);
    if (!devices.reported) {
        due = MediaTime{};
        return;
    }
    for (int type = XCB_INPUT_RAW_KEY_PRESS; type <= XCB_INPUT_RAW_TOUCH_END; ++type)
        handlers.on(event::rawInput(type),
                    [this](const auto& raw, std::uint32_t request) { handle(raw, request); });
    select(motions | presses | releases);
}

void PersonWatch::select(std::uint32_t rawEvents) const {
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } const selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, rawEvents};
    xcb_input_xi_select_events(connection, connection.root(), 1, &selection.head);
}

void PersonWatch::handle(const xcb_input_raw_button_press_event_t& raw, std::uint32_t request) {
    if (isOneOf(motions, raw.event_type) && !due) {
        select(presses | releases);
        due = hostTime() + restFromMotion;
    }
    const bool isLater = static_cast<std::int32_t>(request - lastRequest) > 0;
    if (devices.simulated.contains(raw.sourceid) && !isLater)
        return;
    lastInput = hostTime();
    personActed(isOneOf(presses, raw.event_type));
}

void PersonWatch::made(std::uint32_t request) {
    lastRequest = request;
    lastMade = hostTime();
}

std::optional<MediaTime> PersonWatch::doWhatIsDue(MediaTime now) {
    if (!due || now < *due)
        return due;
    due.reset();
    if (devices.reported) {
        select(motions | presses | releases);
    } else {
        poll();
        due = now + pollInterval;
    }
    return due;
}

void PersonWatch::poll() {
    const auto input = lastInputOfAnyKind();
    if (!input || *input <= lastMade + clockTolerance)
        return;
    const auto before = lastInput.exchange(*input);
    if (*input > before + clockTolerance)
        personActed(true);
}

double PersonWatch::secondsSinceInput() const {
    const auto input = lastInput.load();
    if (input == never)
        return std::numeric_limits<double>::infinity();
    return std::chrono::duration<double>(hostTime() - input).count();
}

std::optional<MediaTime> PersonWatch::lastInputOfAnyKind() const {
    if (!connection.has(&xcb_screensaver_id))
        return std::nullopt;
    const auto info = reply(connection, xcb_screensaver_query_info_reply,
                            xcb_screensaver_query_info(connection, connection.root()));
    if (!info)
        return std::nullopt;
    return hostTime() + -std::chrono::milliseconds(info->ms_since_user_input);
}

} // namespace platform::x11
