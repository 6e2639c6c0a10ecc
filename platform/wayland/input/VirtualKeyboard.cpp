#include "platform/wayland/input/VirtualKeyboard.h"

#include "platform/Clock.h"
#include "platform/wayland/server/Memory.h"
#include "platform/wayland/server/SwayTree.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ranges>
#include <stdexcept>
#include <utility>

namespace platform::wayland {
namespace {

/// The kernel's numbers of keys are those of X without an offset.
constexpr std::uint32_t keycodeOffset = 8;
/// Keymaps have about 60 kB.
constexpr std::uint32_t maxKeymapSize = 4 << 20;

std::uint32_t milliseconds() {
    return static_cast<std::uint32_t>(hostTime().nanoseconds / 1'000'000);
}

/// What a file of the compositor's says up to its first zero; empty if it can't be read. Closes the
/// file. Mapped memory would do the same until the file turns out shorter than it was said to be.
std::string readAndClose(int file, std::uint32_t size) {
    std::string text(std::min(size, maxKeymapSize), '\0');
    const auto read = pread(file, text.data(), text.size(), 0);
    close(file);
    text.resize(read > 0 ? strnlen(text.data(), static_cast<std::size_t>(read)) : 0);
    return text;
}

} // namespace

bool VirtualKeyboard::isOfferedBy(const Connection& connection) {
    return connection.has(zwp_virtual_keyboard_manager_v1_interface);
}

VirtualKeyboard::VirtualKeyboard(const Connection& connection, wl_seat* seat)
    : connection(connection),
      seat(seat) {
    static constexpr wl_seat_listener listener{
        .capabilities = calls<&VirtualKeyboard::capable>,
        .name = ignored,
    };
    wl_seat_add_listener(seat, &listener, this);
    // The first round trip brings the seat's keyboard, the second its keymap. A keyboard of this
    // program's own before that would take its place.
    connection.roundTrip();
    connection.roundTrip();
    const auto manager =
        connection.bind<zwp_virtual_keyboard_manager_v1>(zwp_virtual_keyboard_manager_v1_interface);
    proxy.reset(zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(manager.get(), seat));
    if (!refresh())
        throw std::runtime_error("there is no keymap");
}

void VirtualKeyboard::capable(std::uint32_t capabilities) {
    static constexpr wl_keyboard_listener listener{
        .keymap = calls<&VirtualKeyboard::personsKeymap>,
        .enter = ignored,
        .leave = ignored,
        .key = ignored,
        .modifiers = ignored,
        .repeat_info = ignored,
    };
    if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) == 0 || person)
        return;
    person.reset(wl_seat_get_keyboard(seat));
    wl_keyboard_add_listener(person.get(), &listener, this);
}

/// The seat tells the keymap of whichever keyboard was used last, this one too.
void VirtualKeyboard::personsKeymap(std::uint32_t format, int file, std::uint32_t size) {
    auto text = readAndClose(file, size);
    if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 || text.empty() || SpareKeymap::isOwn(text) ||
        text == personsText)
        return;
    personsText = std::move(text);
    stale = true;
}

bool VirtualKeyboard::refresh() {
    return stale && reload();
}

bool VirtualKeyboard::reload() {
    stale = false;
    auto read = personsText.empty() ? nullptr : SpareKeymap::create(personsText);
    if (!read && !keymap)
        read = SpareKeymap::createDefault();
    if (!read)
        return false; // What was known stays in use.
    keymap = std::move(read);
    map.emplace(keymap->keymap(), keymap->spares());
    bound.clear();
    upload();
    return true;
}

void VirtualKeyboard::upload() {
    const auto text = keymap->text(bound);
    const Memory file(text.size() + 1); // with the zero at its end
    std::ranges::copy(text, file.data());
    zwp_virtual_keyboard_v1_keymap(proxy.get(), WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file.descriptor(),
                                   static_cast<std::uint32_t>(file.size()));
    zwp_virtual_keyboard_v1_modifiers(proxy.get(), 0, 0, 0, 0);
    modifiers = group = 0;
}

std::vector<KeyPlanner::Spare> VirtualKeyboard::spares() const {
    std::vector<KeyPlanner::Spare> spares;
    for (const auto keycode : keymap->spares())
        spares.push_back({keycode});
    return spares;
}

bool VirtualKeyboard::readersLag() const {
    const bool hasXClients = std::getenv("DISPLAY") != nullptr; // NOLINT(concurrency-mt-unsafe)
    return hasXClients && xClientHasFocusInSway(connection).value_or(true);
}

void VirtualKeyboard::bind(std::span<const KeyPlanner::Binding> bindings) {
    if (bindings.empty())
        return;
    for (const auto& [keycode, symbol] : bindings)
        bound[keycode] = symbol;
    upload();
}

void VirtualKeyboard::unbind() {
    bound.clear();
    upload();
}

void VirtualKeyboard::tap(std::span<const std::optional<Stroke>> strokes,
                          std::span<const Keycode> held) {
    std::uint32_t shortcut = 0;
    for (const auto keycode : held) {
        setKey(keycode, true);
        shortcut |= map->modifiersSetBy(keycode);
    }
    for (const auto& stroke : strokes) {
        if (!stroke)
            continue;
        std::uint32_t shifts = 0;
        for (const auto keycode : map->shiftKeys(stroke->held))
            shifts |= map->modifiersSetBy(keycode);
        setModifiers(shortcut | shifts, stroke->group.value_or(0));
        setKey(stroke->keycode, true);
        setKey(stroke->keycode, false);
    }
    for (auto keycode = held.rbegin(); keycode != held.rend(); ++keycode)
        setKey(*keycode, false);
    setModifiers(0, 0);
}

void VirtualKeyboard::setKey(Keycode keycode, bool pressing) {
    zwp_virtual_keyboard_v1_key(proxy.get(), milliseconds(), keycode - keycodeOffset,
                                pressing ? WL_KEYBOARD_KEY_STATE_PRESSED
                                         : WL_KEYBOARD_KEY_STATE_RELEASED);
}

/// The compositor does not find out by itself what keys of such a keyboard do.
void VirtualKeyboard::setModifiers(std::uint32_t wanted, std::uint32_t wantedGroup) {
    if (wanted == modifiers && wantedGroup == group)
        return;
    modifiers = wanted;
    group = wantedGroup;
    zwp_virtual_keyboard_v1_modifiers(proxy.get(), modifiers, 0, 0, group);
}

} // namespace platform::wayland
