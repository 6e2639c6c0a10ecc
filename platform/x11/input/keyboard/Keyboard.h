#pragma once

#include "platform/Events.h"
#include "platform/decisions/KeyMap.h"
#include "platform/decisions/KeyPlanner.h"
#include "platform/x11/input/keyboard/KeySymbols.h"
#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace platform::x11 {

/// The XTEST keyboard: what its keys mean, as the server says, and pressing them. Its map is its
/// own, so that what is bound here does not change the keyboards on the desk; the server gives
/// clients the map of the keyboard that was used last. Belongs to one thread.
class Keyboard {
public:
    using Keycodes = std::vector<Keycode>;

    /// `device` has the map of what is typed. Returns nullptr if the server does not tell the map.
    static std::unique_ptr<Keyboard> create(const Connection& connection, std::uint16_t device);

    /// Notes that somebody has changed the map.
    void handle(const xcb_generic_event_t& event);
    /// Reads a map that has changed. True if it has; then the spare keys are others.
    bool refresh();
    std::vector<KeyPlanner::Spare> spares() const { return symbols.spares(); }

    /// Makes the keyboard ready for typing: no modifier that a person holds (as a keyboard switch
    /// may leave it) or has latched turns the text into shortcuts. Returns what is locked.
    Locks prepare();
    /// How to give this symbol without a spare key.
    std::optional<Stroke> find(Keysym symbol, Locks locks) const {
        return keyMap->find(symbol, locks);
    }
    /// The keys of a shortcut's modifiers, Shift aside; empty if the keyboard lacks one.
    std::optional<Keycodes> shortcutKeys(EventFlags flags) const;

    void bind(std::span<const KeyPlanner::Binding> bindings) { symbols.bind(bindings); }
    /// Gives the user's keymap back as it was.
    void unbind() { symbols.unbind(); }
    /// Presses and releases keys one after the other while `held` are down.
    void tap(std::span<const std::optional<Stroke>> strokes, const Keycodes& held);

private:
    Keyboard(const Connection& connection, std::uint16_t device);
    bool reload();
    void letGo();
    void lockGroup(std::uint8_t wanted);
    void setKey(Keycode keycode, bool pressing);
    void press(const Keycodes& keycodes);
    void release(const Keycodes& keycodes); // the other way round
    Keycodes shiftKeys(int held) const;

    struct Release {
        void operator()(xkb_context* context) const { xkb_context_unref(context); }
        void operator()(xkb_keymap* map) const { xkb_keymap_unref(map); }
    };
    const Connection& connection;
    std::unique_ptr<xkb_context, Release> context;
    std::uint8_t firstEvent; // of XKB
    std::uint16_t device;
    KeySymbols symbols;
    std::optional<KeyMap> keyMap;
    bool stale = true;      // somebody has changed the map
    std::uint8_t group = 0; // locked on the server, as far as is known here
};

} // namespace platform::x11
