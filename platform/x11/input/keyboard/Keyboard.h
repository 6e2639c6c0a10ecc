#pragma once

#include "platform/Events.h"
#include "platform/decisions/KeyMap.h"
#include "platform/decisions/KeyPlanner.h"
#include "platform/x11/input/keyboard/FocusedClient.h"
#include "platform/x11/input/keyboard/InputDevices.h"
#include "platform/x11/input/keyboard/KeySymbols.h"
#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace platform::x11 {

/// The XTEST keyboard: presses keys on the server and, for a while, gives spare keys the
/// characters that are missing. Belongs to one thread, the only one that takes the connection's
/// events.
class Keyboard {
public:
    using Batch = KeyPlanner::Batch;
    using Time = KeyPlanner::Time;

    /// Nothing where the server lacks the extensions. `connection` outlives the keyboard.
    static std::unique_ptr<Keyboard> create(const Connection& connection);

    /// How to begin typing a text: `type` does it, not before the batch's time. A plan is good only
    /// until others have their turn with the keyboard, so where there is time it is made anew.
    Batch plan(std::span<const Keysym> text);
    /// How to press a key: `press` does it, likewise. Letters are meant as characters, whatever
    /// Caps Lock says, unless they are part of a shortcut.
    Batch plan(VirtualKey key, EventFlags flags);

    /// Presses and releases the keys of a batch while the modifiers in `flags` are held. Shift is
    /// not among them: the characters say where it is needed.
    void type(const Batch& batch, EventFlags flags);
    /// Presses a key, with its modifiers, and keeps it so until `release` or `releaseAll`.
    void press(VirtualKey key, const Batch& batch, EventFlags flags);
    void release(VirtualKey key);
    void releaseAll();

    bool anyBound() const { return planner.anyBound(); }
    /// When clients can do without the bindings.
    Time releasable() const { return planner.releasable(); }
    /// Gives the user's keymap back as it was.
    void unbind();

private:
    using Keycodes = std::vector<Keycode>;

    Keyboard(const Connection& connection, const Keyboards& devices);
    Batch plan(std::span<const Keysym> text, Locks locks);
    Locks readLocks();

    /// Learns what others have done to the map since.
    void refresh();
    bool reload();
    /// Waits until the server has done what was asked of it; that the map has changed is no news.
    void settle();
    void takeEvents(bool own);

    void bind(const Batch& batch);
    void notePressed(const Batch& batch);
    void lockGroup(std::uint8_t wanted);
    void setKey(Keycode keycode, bool pressing);
    void press(const Keycodes& keycodes);
    void release(const Keycodes& keycodes); // the other way round
    Keycodes shortcutKeys(EventFlags flags) const;
    Keycodes shiftKeys(int held) const;

    struct Held {
        Keycodes keycodes; // in the order of pressing
        std::uint8_t groupBefore;
    };
    struct Release {
        void operator()(xkb_context* context) const { xkb_context_unref(context); }
        void operator()(xkb_keymap* map) const { xkb_keymap_unref(map); }
    };
    const Connection& connection;
    std::unique_ptr<xkb_context, Release> context;
    std::uint8_t firstEvent;   // of XKB
    std::uint16_t typing;      // the XTEST keyboard's device number
    KeySymbols typingSymbols;  // on it
    KeySymbols desktopSymbols; // on the keyboard that clients see
    FocusedClient client;
    std::optional<KeyMap> keyMap; // of the XTEST keyboard
    KeyPlanner planner;
    bool stale = false;     // somebody has changed the map
    std::uint8_t group = 0; // locked on the server, as far as is known here
    std::map<VirtualKey, Held> pressed;
};

} // namespace platform::x11
