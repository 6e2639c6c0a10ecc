#include "platform/x11/input/keyboard/Keyboard.h"

#include "platform/x11/server/Xkb.h"

#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

namespace platform::x11 {
namespace {

constexpr std::uint8_t allModifiers = 0xff;

/// Keys wait this long behind a change of the map. Chromium was seen to need up to 5 ms.
constexpr std::chrono::milliseconds timeToRead{20};

/// The map comes from the server alone: no folder, no variable, and nothing on standard error.
xkb_context* newContext() {
    auto* const context = xkb_context_new(static_cast<xkb_context_flags>(
        XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    if (context)
        xkb_context_set_log_fn(context, [](xkb_context*, xkb_log_level, const char*, va_list) {});
    return context;
}

} // namespace

Keyboard::Keyboard(const Connection& connection, std::uint16_t device, EventHandlers& handlers)
    : connection(connection),
      context(newContext()),
      device(device),
      symbols(connection, device) {
    constexpr std::uint16_t events =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr std::uint16_t allParts = 0xff;
    xcb_xkb_select_events(connection, device, events, 0, events, allParts, allParts, nullptr);
    handlers.on(event::xkbNotify, [this](const auto&, std::uint32_t request) {
        stale = stale || request != symbols.lastChange();
    });
    if (!context || !refresh())
        throw std::runtime_error("the server does not tell its keymap");
}

bool Keyboard::refresh() {
    // What was known stays in use if the server does not answer.
    return stale && reload();
}

bool Keyboard::reload() {
    const std::unique_ptr<xkb_keymap, Release> read(xkb_x11_keymap_new_from_device(
        context.get(), connection,
        device == XCB_XKB_ID_USE_CORE_KBD ? xkb_x11_get_core_keyboard_device_id(connection)
                                          : device,
        XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!read || !symbols.read())
        return false;
    std::vector<Keycode> unused;
    for (const auto& spare : symbols.spares())
        unused.push_back(spare.keycode);
    map.emplace(read.get(), unused);
    // A process of this kind that was killed may have left one down, and the server presses no such
    // key again.
    release(pressed(unused));
    stale = false;
    return true;
}

Locks Keyboard::prepare() {
    const auto state = reply(connection, xcb_xkb_get_state_reply,
                             xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD));
    if (!state)
        return {};
    group = state->lockedGroup;
    if (state->baseMods != 0)
        letGo();
    const auto unlocked = static_cast<std::uint8_t>(state->lockedMods & map->shortcutModifiers());
    if (state->latchedMods != 0 || unlocked != 0)
        xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, unlocked, 0, 0, 0,
                                 allModifiers, 0, 0);
    caps = static_cast<std::uint8_t>(state->lockedMods & ~unlocked &
                                     (XCB_MOD_MASK_LOCK | XCB_MOD_MASK_SHIFT));
    return {static_cast<std::uint8_t>(state->lockedMods & ~unlocked & ~caps), group};
}

/// A release takes a modifier's effect from the desktop's keyboard even while a finger is on the
/// key.
void Keyboard::letGo() {
    std::vector<Keycode> modifiers;
    for (int keycode = 8; keycode < 256; ++keycode)
        if (map->modifiersSetBy(static_cast<Keycode>(keycode)) != 0)
            modifiers.push_back(static_cast<Keycode>(keycode));
    release(pressed(modifiers));
}

/// Those of the keys that are down.
std::vector<Keycode> Keyboard::pressed(std::span<const Keycode> keycodes) const {
    std::vector<Keycode> down;
    if (const auto answer = reply(connection, xcb_query_keymap_reply, xcb_query_keymap(connection)))
        std::ranges::copy_if(keycodes, std::back_inserter(down), [&](Keycode keycode) {
            return (answer->keys[keycode / 8] >> keycode % 8 & 1) != 0;
        });
    return down;
}

void Keyboard::bind(std::span<const KeyPlanner::Binding> bindings) {
    if (bindings.empty())
        return;
    symbols.bind(bindings);
    // Browsers hear of keys over one connection and of the map over another, so that they may take
    // keys by the map before: the first key means nothing in either, and the others wait.
    if (const auto idle = symbols.idleKey()) {
        setKey(*idle, true);
        setKey(*idle, false);
    }
    xcb_flush(connection);
    std::this_thread::sleep_for(timeToRead);
}

void Keyboard::tap(std::span<const std::optional<Stroke>> strokes, std::span<const Keycode> held) {
    const auto groupBefore = group;
    std::uint8_t shifts = 0;
    // Toolkits apply Caps Lock by themselves to keys on which the map does not, such as bound ones.
    lock(caps, false);
    press(held);
    for (const auto& stroke : strokes) {
        if (!stroke)
            continue;
        release(map->shiftKeys(shifts & ~stroke->held));
        press(map->shiftKeys(stroke->held & ~shifts));
        shifts = stroke->held;
        lockGroup(stroke->group.value_or(group));
        setKey(stroke->keycode, true);
        setKey(stroke->keycode, false);
    }
    release(map->shiftKeys(shifts));
    release(held);
    lockGroup(groupBefore);
    lock(caps, true);
}

void Keyboard::lock(std::uint8_t modifiers, bool locking) const {
    if (modifiers != 0)
        xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, modifiers,
                                 locking ? modifiers : std::uint8_t{0}, 0, 0, 0, 0, 0);
}

void Keyboard::lockGroup(std::uint8_t wanted) {
    if (wanted == group)
        return;
    group = wanted;
    xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, wanted, 0, 0, 0);
}

void Keyboard::setKey(Keycode keycode, bool pressing) {
    xcb_test_fake_input(connection, pressing ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode,
                        XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

void Keyboard::press(std::span<const Keycode> keycodes) {
    for (const auto keycode : keycodes)
        setKey(keycode, true);
}

void Keyboard::release(std::span<const Keycode> keycodes) {
    for (auto keycode = keycodes.rbegin(); keycode != keycodes.rend(); ++keycode)
        setKey(*keycode, false);
}

} // namespace platform::x11
