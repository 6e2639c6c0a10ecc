#include "support/XRecorder.h"

#include <xkbcommon/xkbcommon-x11.h>
#define explicit explicitComponents
#include <xcb/xkb.h>
#undef explicit

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace test {
namespace {

std::uint8_t setUpKeyboard(xcb_connection_t* connection) {
    std::uint8_t firstEvent = 0;
    xkb_x11_setup_xkb_extension(connection, 1, 0, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr,
                                nullptr, &firstEvent, nullptr);
    const std::uint16_t events =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, 0xff, 0xff,
                          nullptr);
    return firstEvent;
}

} // namespace

XRecorder::XRecorder(const std::string& display, Box place)
    : own(display),
      shown(own.createWindow(place, {0, {}, {}, true})),
      context(xkb_context_new(XKB_CONTEXT_NO_FLAGS), xkb_context_unref),
      map(nullptr, xkb_keymap_unref),
      state(nullptr, xkb_state_unref) {
    firstKeyboardEvent = setUpKeyboard(own.connection());
    keyboard = xkb_x11_get_core_keyboard_device_id(own.connection());
    const std::uint32_t events = XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE |
                                 XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                                 XCB_EVENT_MASK_POINTER_MOTION;
    xcb_change_window_attributes(own.connection(), shown, XCB_CW_EVENT_MASK, &events);
    own.map(shown);
    own.sync();
    xcb_set_input_focus(own.connection(), XCB_INPUT_FOCUS_PARENT, shown, XCB_CURRENT_TIME);
    own.sync();
    thread = std::thread([this] { run(); });
}

XRecorder::~XRecorder() {
    own.sayGoodbye(shown);
    thread.join();
}

void XRecorder::run() {
    while (const auto event = owned(xcb_wait_for_event(own.connection()))) {
        if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE)
            return; // Goodbye.
        record(*event);
    }
}

void XRecorder::record(const xcb_generic_event_t& event) {
    const auto number = event.response_type & 0x7f;
    mapIsOld = mapIsOld || number == firstKeyboardEvent;
    if (number < XCB_KEY_PRESS || number > XCB_MOTION_NOTIFY)
        return;
    // The events of keys, buttons and motion have one layout, and numbers in the order of Kind.
    const auto& at = as<xcb_key_press_event_t>(event);
    XInput input{static_cast<XInput::Kind>(number - XCB_KEY_PRESS),
                 number == XCB_MOTION_NOTIFY ? 0 : at.detail, at.state, at.root_x, at.root_y};
    if (number == XCB_KEY_PRESS || number == XCB_KEY_RELEASE)
        nameKey(input);
    input.arrived = std::chrono::steady_clock::now();
    const std::lock_guard locked(lock);
    recorded.push_back(std::move(input));
}

void XRecorder::nameKey(XInput& key) {
    const bool fetches = std::exchange(mapIsOld, false);
    if (fetches && !(readsLate && map))
        fetchMap();
    xkb_state_update_mask(state.get(), key.state & 0xff, 0, 0, 0, 0, key.state >> 13 & 3);
    const auto keycode = static_cast<xkb_keycode_t>(key.detail);
    std::array<char, 64> buffer{};
    xkb_state_key_get_utf8(state.get(), keycode, buffer.data(), buffer.size());
    key.text = buffer.data();
    xkb_keysym_get_name(xkb_state_key_get_one_sym(state.get(), keycode), buffer.data(),
                        buffer.size());
    key.name = buffer.data();
    if (fetches && readsLate)
        fetchMap();
}

void XRecorder::fetchMap() {
    map.reset(xkb_x11_keymap_new_from_device(context.get(), own.connection(), keyboard,
                                             XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!map)
        throw std::runtime_error("no keymap");
    state.reset(xkb_state_new(map.get()));
}

std::vector<XInput> XRecorder::events() const {
    const std::lock_guard locked(lock);
    return recorded;
}

std::vector<XInput> XRecorder::events(XInput::Kind kind) const {
    auto all = events();
    std::erase_if(all, [&](const XInput& event) { return event.kind != kind; });
    return all;
}

std::string XRecorder::text() const {
    std::string all;
    for (const auto& event : events(XInput::Kind::keyPress))
        all += event.text;
    std::ranges::replace(all, '\r', '\n');
    return all;
}

void XRecorder::forget() {
    const std::lock_guard locked(lock);
    recorded.clear();
}

} // namespace test
