#include "platform/x11/input/PersonWatch.h"

#include <xcb/screensaver.h>
#include <xcb/xinput.h>

#include <limits>

namespace platform::x11 {
namespace {

/// How far apart the server's time of an input and ours may be: it counts milliseconds, and asking
/// takes a moment.
constexpr std::chrono::milliseconds clockTolerance{20};

void selectRawInput(const Connection& connection) {
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } const selection{
        {XCB_INPUT_DEVICE_ALL_MASTER, 1},
        XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE |
            XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE |
            XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_BEGIN |
            XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_UPDATE | XCB_INPUT_XI_EVENT_MASK_RAW_TOUCH_END,
    };
    xcb_input_xi_select_events(connection, connection.root(), 1, &selection.head);
}

bool presses(std::uint16_t type) {
    return type == XCB_INPUT_RAW_KEY_PRESS || type == XCB_INPUT_RAW_BUTTON_PRESS ||
           type == XCB_INPUT_RAW_TOUCH_BEGIN;
}

} // namespace

PersonWatch::PersonWatch(const Connection& connection, const InputDevices& known)
    : connection(connection),
      devices(known),
      opcode(connection.opcode(&xcb_input_id)) {
    if (const auto input = lastInputOfAnyKind())
        note(*input);
    if (devices.reported)
        selectRawInput(connection);
}

PersonWatch::Input PersonWatch::handle(const xcb_generic_event_t& event) {
    if (!devices.reported || (event.response_type & 0x7f) != XCB_GE_GENERIC)
        return Input::none;
    // All raw events begin alike.
    const auto& raw = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
    if (raw.extension != opcode)
        return Input::none;
    const auto requestsSince = static_cast<std::int32_t>(raw.full_sequence - lastRequest);
    if (devices.simulated.contains(raw.sourceid) && requestsSince <= 0)
        return Input::none;
    note(Clock::now());
    return presses(raw.event_type) ? Input::pressed : Input::moved;
}

void PersonWatch::made(std::uint32_t request) {
    lastRequest = request;
    lastMade = Clock::now();
}

PersonWatch::Input PersonWatch::poll() {
    const auto input = lastInputOfAnyKind();
    if (!input || *input <= lastMade + clockTolerance)
        return Input::none;
    const bool isNews =
        input->time_since_epoch().count() > last.load() + Clock::duration(clockTolerance).count();
    note(*input);
    return isNews ? Input::pressed : Input::none;
}

double PersonWatch::secondsSinceInput() const {
    const auto input = last.load();
    if (input == never)
        return std::numeric_limits<double>::infinity();
    const Clock::time_point time{Clock::duration{input}};
    return std::chrono::duration<double>(Clock::now() - time).count();
}

std::optional<PersonWatch::Clock::time_point> PersonWatch::lastInputOfAnyKind() const {
    if (!connection.has(&xcb_screensaver_id))
        return std::nullopt;
    const auto info = reply(connection, xcb_screensaver_query_info_reply,
                            xcb_screensaver_query_info(connection, connection.root()));
    if (!info)
        return std::nullopt;
    return Clock::now() - std::chrono::milliseconds(info->ms_since_user_input);
}

} // namespace platform::x11
