#pragma once

#include "platform/decisions/KeyboardDevice.h"
#include "platform/x11/input/keyboard/KeySymbols.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventHandlers.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace platform::x11 {

/// The XTEST keyboard: what its keys mean, as the server says, and pressing them. Its map is its
/// own, so that what is bound here does not change the keyboards on the desk; the server gives
/// clients the map of the keyboard that was used last. Belongs to one thread.
class Keyboard final : public KeyboardDevice {
public:
    /// `device` has the map of what is typed. Throws std::runtime_error if the server does not tell
    /// the map.
    Keyboard(const Connection& connection, std::uint16_t device, EventHandlers& handlers);

    bool refresh() override;
    std::vector<KeyPlanner::Spare> spares() const override { return symbols.spares(); }
    Locks prepare() override;
    const KeyMap& keyMap() const override { return *map; }
    bool readersLag() const override { return true; }
    void bind(std::span<const KeyPlanner::Binding> bindings) override;
    void unbind() override { symbols.unbind(); }
    void tap(std::span<const std::optional<Stroke>> strokes,
             std::span<const Keycode> held) override;

private:
    bool reload();
    void letGo();
    std::vector<Keycode> pressed(std::span<const Keycode> keycodes) const;
    void lockGroup(std::uint8_t wanted);
    void lock(std::uint8_t modifiers, bool locking) const;
    void setKey(Keycode keycode, bool pressing);
    void press(std::span<const Keycode> keycodes);
    void release(std::span<const Keycode> keycodes); // the other way round

    struct Release {
        void operator()(xkb_context* context) const { xkb_context_unref(context); }
        void operator()(xkb_keymap* map) const { xkb_keymap_unref(map); }
    };
    const Connection& connection;
    std::unique_ptr<xkb_context, Release> context;
    std::uint16_t device;
    KeySymbols symbols;
    std::optional<KeyMap> map;
    bool stale = true;      // somebody has changed the map
    std::uint8_t group = 0; // locked on the server, as far as is known here
    std::uint8_t caps = 0;  // modifiers that are unlocked while keys are pressed
};

} // namespace platform::x11
