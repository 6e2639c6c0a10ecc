#pragma once

#include "platform/decisions/KeyMap.h"

#include <xkbcommon/xkbcommon.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform::wayland {

/// A keymap (XKB, text format 1), of whose keys those that type nothing can be given a symbol.
/// Pure.
class SpareKeymap {
public:
    /// Returns nullptr if `text` is no keymap.
    static std::unique_ptr<SpareKeymap> create(const std::string& text);
    /// The keymap of a desktop without a keyboard: the system's own. Returns nullptr without one.
    static std::unique_ptr<SpareKeymap> createDefault();
    /// Whether a keymap is one that `text` gave.
    static bool isOwn(std::string_view text);

    /// As it was before any symbol was given.
    xkb_keymap* keymap() const { return map.get(); }
    const std::vector<Keycode>& spares() const { return unused; }

    /// The keymap with these symbols, by their keys, which are spare ones.
    std::string text(const std::map<Keycode, Keysym>& bound) const;

private:
    struct Release {
        void operator()(xkb_context* context) const { xkb_context_unref(context); }
        void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    };
    static std::unique_ptr<SpareKeymap> from(std::unique_ptr<xkb_keymap, Release> map);
    explicit SpareKeymap(std::unique_ptr<xkb_keymap, Release> map);
    std::string nameOf(Keycode keycode) const;

    std::unique_ptr<xkb_keymap, Release> map;
    std::string written;
    std::size_t endOfKeycodes; // of the sections of what is written
    std::size_t endOfSymbols;
    std::vector<Keycode> unused;
    Keycode someKey = 0; // that gives something
};

} // namespace platform::wayland
