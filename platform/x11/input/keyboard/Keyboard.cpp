#include "platform/x11/input/keyboard/Keyboard.h"

#include "platform/decisions/VirtualKeys.h"
#include "platform/x11/input/keyboard/InputDevices.h"
#include "platform/x11/input/keyboard/Xkb.h"

#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace platform::x11 {
namespace {

constexpr EventFlags shortcutFlags = flag::control | flag::option | flag::command;

bool isLetter(Keysym symbol) {
    return symbol >= 'a' && symbol <= 'z';
}

Keysym upperCase(Keysym letter) {
    return letter - 'a' + 'A';
}

} // namespace

std::unique_ptr<Keyboard> Keyboard::create(const Connection& connection) {
    const auto devices = findKeyboards(connection);
    if (!devices)
        return nullptr;
    std::unique_ptr<Keyboard> keyboard(new Keyboard(connection, *devices));
    return keyboard->context && keyboard->reload() ? std::move(keyboard) : nullptr;
}

Keyboard::Keyboard(const Connection& connection, const Keyboards& devices)
    : connection(connection),
      context(xkb_context_new(XKB_CONTEXT_NO_FLAGS)),
      firstEvent(connection.firstEvent(&xcb_xkb_id)),
      typing(devices.typing),
      typingSymbols(connection, devices.typing),
      desktopSymbols(connection, devices.desktop),
      client(connection) {
    constexpr std::uint16_t events =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr std::uint16_t allParts = 0xff;
    for (const auto device : {devices.desktop, devices.typing})
        xcb_xkb_select_events(connection, device, events, 0, events, allParts, allParts, nullptr);
}

Keyboard::Batch Keyboard::plan(std::span<const Keysym> text) {
    refresh();
    return plan(text, readLocks());
}

Keyboard::Batch Keyboard::plan(VirtualKey key, EventFlags flags) {
    const auto symbol = symbolOf(key);
    if (!symbol)
        return {};
    refresh();
    auto locks = readLocks();
    const bool isText = isLetter(*symbol) && (flags & shortcutFlags) == 0;
    if (!isText)
        locks.modifiers &= static_cast<std::uint8_t>(~Locks::capsLock);
    const bool upper = isText && (flags & flag::shift) != 0;
    const std::array text{upper ? upperCase(*symbol) : *symbol};
    auto batch = plan(text, locks);
    if (!isText && (flags & flag::shift) != 0)
        for (auto& stroke : batch.strokes)
            stroke.held |= Stroke::shift;
    return batch;
}

Keyboard::Batch Keyboard::plan(std::span<const Keysym> text, Locks locks) {
    const auto lookup = [&](Keysym symbol) -> std::optional<Stroke> {
        auto stroke = keyMap->find(symbol, locks);
        if (!stroke || planner.isSpare(stroke->keycode))
            return std::nullopt;
        return stroke;
    };
    return planner.next(text, lookup, KeyPlanner::Clock::now());
}

void Keyboard::type(const Batch& batch, EventFlags flags) {
    bind(batch);
    const auto shortcut = shortcutKeys(flags);
    const auto groupBefore = group;
    std::uint8_t held = 0;
    press(shortcut);
    for (const auto& stroke : batch.strokes) {
        release(shiftKeys(held & ~stroke.held));
        press(shiftKeys(stroke.held & ~held));
        held = stroke.held;
        lockGroup(stroke.group.value_or(group));
        setKey(stroke.keycode, true);
        setKey(stroke.keycode, false);
    }
    release(shiftKeys(held));
    release(shortcut);
    lockGroup(groupBefore);
    notePressed(batch);
}

void Keyboard::press(VirtualKey key, const Batch& batch, EventFlags flags) {
    if (batch.strokes.empty())
        return;
    release(key);
    bind(batch);
    const auto& stroke = batch.strokes.front();
    const auto groupBefore = group;
    lockGroup(stroke.group.value_or(group));
    auto keycodes = shortcutKeys(flags);
    std::ranges::copy(shiftKeys(stroke.held), std::back_inserter(keycodes));
    keycodes.push_back(stroke.keycode);
    press(keycodes);
    pressed[key] = {std::move(keycodes), groupBefore};
    notePressed(batch);
}

void Keyboard::notePressed(const Batch& batch) {
    const bool matters = planner.anyBound() || !batch.bindings.empty();
    const bool answering = matters && client.ask(planner.pressedBatches() + 1);
    planner.pressed(batch, KeyPlanner::Clock::now(), answering);
}

void Keyboard::release(VirtualKey key) {
    const auto held = pressed.extract(key);
    if (!held)
        return;
    release(held.mapped().keycodes);
    lockGroup(held.mapped().groupBefore);
}

void Keyboard::releaseAll() {
    while (!pressed.empty())
        release(pressed.begin()->first);
}

void Keyboard::unbind() {
    refresh();
    desktopSymbols.restore();
    typingSymbols.restore();
    planner.released();
    client.stopListening();
    settle();
}

void Keyboard::bind(const Batch& batch) {
    if (batch.bindings.empty())
        return;
    // The typing keyboard last: the desktop's takes over its map when the first key is pressed.
    desktopSymbols.bind(batch.bindings);
    typingSymbols.bind(batch.bindings);
    settle();
}

void Keyboard::settle() {
    roundTrip(connection);
    takeEvents(true);
}

void Keyboard::refresh() {
    takeEvents(false);
    // What was known stays in use if the server does not answer.
    if (stale)
        reload();
}

bool Keyboard::reload() {
    const std::unique_ptr<xkb_keymap, Release> read(xkb_x11_keymap_new_from_device(
        context.get(), connection, typing, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!read || !typingSymbols.read() || !desktopSymbols.read())
        return false;
    keyMap.emplace(read.get());
    std::vector<Keycode> spares;
    for (const auto keycode : typingSymbols.keysWithoutSymbols())
        if (desktopSymbols.hasNone(keycode) && !keyMap->isModifier(keycode))
            spares.push_back(keycode);
    planner.setSpares(spares, [&](Keycode keycode) { return typingSymbols.isBound(keycode); });
    stale = false;
    return true;
}

void Keyboard::takeEvents(bool own) {
    while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
        if (const auto answer = client.answerIn(*event))
            planner.handledBatch(*answer, KeyPlanner::Clock::now());
        if ((event->response_type & 0x7f) != firstEvent)
            continue;
        // The extension's events share a number; the second byte tells them apart.
        const bool mapChanged = event->pad0 == XCB_XKB_MAP_NOTIFY;
        if (!own || !mapChanged)
            stale = true;
    }
}

Locks Keyboard::readLocks() {
    const auto state = reply(connection, xcb_xkb_get_state_reply,
                             xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD));
    if (!state)
        return {};
    group = state->lockedGroup;
    return {state->lockedMods, state->lockedGroup};
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

void Keyboard::press(const Keycodes& keycodes) {
    for (const auto keycode : keycodes)
        setKey(keycode, true);
}

void Keyboard::release(const Keycodes& keycodes) {
    for (auto keycode = keycodes.rbegin(); keycode != keycodes.rend(); ++keycode)
        setKey(*keycode, false);
}

Keyboard::Keycodes Keyboard::shortcutKeys(EventFlags flags) const {
    constexpr std::array<std::pair<EventFlags, ModifierKey>, 3> keys{{
        {flag::control, ModifierKey::control},
        {flag::option, ModifierKey::alt},
        {flag::command, ModifierKey::super},
    }};
    Keycodes keycodes;
    for (const auto& [bit, modifier] : keys)
        if (const auto keycode = keyMap->key(modifier); keycode && (flags & bit) != 0)
            keycodes.push_back(*keycode);
    return keycodes;
}

Keyboard::Keycodes Keyboard::shiftKeys(int held) const {
    Keycodes keycodes;
    if (const auto keycode = keyMap->key(ModifierKey::level3); keycode && (held & Stroke::level3))
        keycodes.push_back(*keycode);
    if (const auto keycode = keyMap->key(ModifierKey::shift); keycode && (held & Stroke::shift))
        keycodes.push_back(*keycode);
    return keycodes;
}

} // namespace platform::x11
