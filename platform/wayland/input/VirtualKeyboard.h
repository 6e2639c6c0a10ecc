#pragma once

#include "platform/decisions/KeyboardDevice.h"
#include "platform/wayland/input/SpareKeymap.h"
#include "platform/wayland/server/Connection.h"
#include "platform/wayland/server/Seat.h"

#include <virtual-keyboard-unstable-v1-client-protocol.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace platform::wayland {

template<>
inline void destroy(wl_keyboard* proxy) {
    wl_keyboard_destroy(proxy);
}
template<>
inline void destroy(zwp_virtual_keyboard_manager_v1* proxy) {
    zwp_virtual_keyboard_manager_v1_destroy(proxy);
}
template<>
inline void destroy(zwp_virtual_keyboard_v1* proxy) {
    zwp_virtual_keyboard_v1_destroy(proxy);
}

/// A keyboard of this program's own on a seat (virtual-keyboard-unstable-v1). Its keymap is that of
/// the person's keyboard, so that what has a key there needs no other keymap, and the rest on keys
/// that give nothing there. The compositor tells clients of a keymap before the keys behind it.
class VirtualKeyboard final : public KeyboardDevice {
public:
    static bool isOfferedBy(const Connection& connection);
    /// The seat and the connection outlive the object. Waits for the compositor. Throws
    /// std::runtime_error if there is no keymap to be had.
    VirtualKeyboard(const Connection& connection, wl_seat* seat);

    bool refresh() override;
    std::vector<KeyPlanner::Spare> spares() const override;
    /// What a person holds or has locked is a matter of the other keyboard.
    Locks prepare() override { return {}; }
    const KeyMap& keyMap() const override { return *map; }
    /// Wayland clients get keymaps and keys in their order, X clients don't.
    bool readersLag() const override;
    void bind(std::span<const KeyPlanner::Binding> bindings) override;
    void unbind() override;
    void tap(std::span<const std::optional<Stroke>> strokes,
             std::span<const Keycode> held) override;

private:
    void capable(std::uint32_t capabilities);
    void personsKeymap(std::uint32_t format, int file, std::uint32_t size);
    bool reload();
    void upload();
    void setKey(Keycode keycode, bool pressing);
    void setModifiers(std::uint32_t modifiers, std::uint32_t group);

    const Connection& connection;
    wl_seat* seat;
    Owned<wl_keyboard> person; // once there is one
    Owned<zwp_virtual_keyboard_v1> proxy;
    std::string personsText; // the person's keymap as it was heard last
    bool stale = true;       // it was not taken over yet
    std::unique_ptr<SpareKeymap> keymap;
    std::optional<KeyMap> map;
    std::map<Keycode, Keysym> bound;
    std::uint32_t modifiers = 0; // as they were set last, and the group
    std::uint32_t group = 0;
};

} // namespace platform::wayland
