#pragma once

#include "platform/Events.h"
#include "platform/Keysym.h"

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

namespace platform {

/// A key's number on an X server, 8 to 255.
using Keycode = std::uint8_t;
/// Returns the keysym that types a character: Return for line ends, Tab for a tab; nullopt for
/// other control characters and what is no character.
std::optional<Keysym> keysymOf(char32_t character);

/// A key to be pressed while some level shifts are held, in a group (layout) of the keyboard.
struct Stroke {
    static constexpr std::uint8_t shift = 1;
    static constexpr std::uint8_t level3 = 2; ///< AltGr.

    Keycode keycode = 0;
    std::uint8_t held = 0;             ///< A set of the above.
    std::optional<std::uint8_t> group; ///< nullopt: in any.

    friend bool operator==(const Stroke&, const Stroke&) = default;
};

/// What a person at the keyboard has locked: modifiers, as X's eight bits, and the group.
struct Locks {
    std::uint8_t modifiers = 0;
    std::uint8_t group = 0;

    friend bool operator==(const Locks&, const Locks&) = default;
};

enum class ModifierKey { shift, level3, control, alt, super };

/// What the keys of a keyboard mean, turned round: which key gives a symbol. Pure; belongs to one
/// thread.
class KeyMap {
public:
    /// Shares `keymap`. The spare keys are left out: what they give does not stay.
    explicit KeyMap(xkb_keymap* keymap, std::span<const Keycode> spares = {});

    /// The best way to this symbol: in the present group before any other, on a key that every
    /// keyboard has before one that few have, as it is, with Shift, with AltGr or with both.
    /// Returns nullopt if no key has it. What Caps Lock and Num Lock do to the key is taken into
    /// account.
    std::optional<Stroke> find(Keysym symbol, Locks locks) const;

    /// The keys of a shortcut's modifiers, Shift aside; nullopt if the keyboard lacks one.
    std::optional<std::vector<Keycode>> shortcutKeys(EventFlags flags) const;
    /// The keys of a set of level shifts, see Stroke.
    std::vector<Keycode> shiftKeys(int held) const;

    /// The key that is this modifier. Meta and Hyper stand for Alt and Super on a keyboard that has
    /// them in their places.
    std::optional<Keycode> key(ModifierKey modifier) const;

    /// The modifiers, as X's eight bits, that a key sets while it is held.
    std::uint8_t modifiersSetBy(Keycode keycode) const;
    /// The same of all keys that make a shortcut of what is pressed with them.
    std::uint8_t shortcutModifiers() const;

private:
    struct Release {
        void operator()(xkb_keymap* map) const { xkb_keymap_unref(map); }
        void operator()(xkb_state* state) const { xkb_state_unref(state); }
    };
    using Index = std::unordered_map<Keysym, Stroke>;

    Index indexed(Locks locks) const;
    void findModifiers();
    Keysym plainSymbol(Keycode keycode) const;
    std::uint8_t maskOf(ModifierKey modifier) const;

    std::unique_ptr<xkb_keymap, Release> keymap;
    std::vector<std::vector<Keycode>> keys; // the commonest first, in classes
    std::map<ModifierKey, Keycode> modifiers;
    /// Built when asked for. Only a few kinds of locks ever are.
    mutable std::map<std::pair<std::uint8_t, std::uint8_t>, Index> indexes;
};

} // namespace platform
