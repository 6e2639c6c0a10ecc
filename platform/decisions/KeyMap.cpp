#include "platform/decisions/KeyMap.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr char32_t lastCharacter = 0x10ffff;
/// Of the eight real modifiers; what xkbcommon numbers above them are virtual ones.
constexpr xkb_mod_mask_t realModifiers = 0xff;

/// How common a key is, by its name in the keymap. Whoever reads the scancodes, such as a virtual
/// machine, knows only the keys of real keyboards.
enum Rank : std::size_t {
    everywhere,
    manyKeyboards, ///< The key beside the left Shift, which American keyboards lack.
    keypad,
    invented, ///< Multimedia keys, and those that stand for modifiers in the map alone.
    ranks,
};

Rank rankOf(std::string_view name) {
    constexpr std::array<std::string_view, 7> mapOnly{"LVL3", "LVL5", "MDSW", "ALT",
                                                      "META", "SUPR", "HYPR"};
    if (name.empty() || std::ranges::find(mapOnly, name) != mapOnly.end() ||
        (name.size() > 1 && name[0] == 'I' && name[1] >= '0' && name[1] <= '9'))
        return invented;
    if (name.starts_with("KP"))
        return keypad;
    return name == "LSGT" ? manyKeyboards : everywhere;
}

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

bool isSurrogate(char32_t character) {
    return character >= 0xd800 && character < 0xe000;
}

/// A key of the numeric keypad is another key, even where it gives the same character.
bool isKeypad(Keysym symbol) {
    return symbol >= XKB_KEY_KP_Space && symbol <= XKB_KEY_KP_Equal;
}

/// One spelling for each character: layouts use older keysyms for many.
Keysym canonical(Keysym symbol) {
    const char32_t character = isKeypad(symbol) ? 0 : xkb_keysym_to_utf32(symbol);
    if (isControl(character))
        return symbol;
    return keysymOf(character).value_or(symbol);
}

} // namespace

std::optional<Keysym> keysymOf(char32_t character) {
    if (character == '\n' || character == '\r')
        return XKB_KEY_Return;
    if (character == '\t')
        return XKB_KEY_Tab;
    if (isControl(character) || isSurrogate(character) || character > lastCharacter)
        return std::nullopt;
    return characterKeysym(character);
}

KeyMap::KeyMap(xkb_keymap* shared, std::span<const Keycode> spares)
    : keymap(xkb_keymap_ref(shared)),
      keys(ranks) {
    const auto last = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(shared), 255);
    for (auto keycode = xkb_keymap_min_keycode(shared); keycode <= last; ++keycode) {
        const char* const name = xkb_keymap_key_get_name(shared, keycode);
        if (std::ranges::find(spares, keycode) == spares.end())
            keys[rankOf(name ? name : "")].push_back(static_cast<Keycode>(keycode));
    }
    findModifiers();
}

std::optional<Stroke> KeyMap::find(Keysym symbol, Locks locks) const {
    const std::pair kind{locks.modifiers, locks.group};
    auto known = indexes.find(kind);
    if (known == indexes.end())
        known = indexes.emplace(kind, indexed(locks)).first;
    const auto found = known->second.find(canonical(symbol));
    return found == known->second.end() ? std::nullopt : std::optional(found->second);
}

std::optional<Keycode> KeyMap::key(ModifierKey modifier) const {
    const auto found = modifiers.find(modifier);
    return found == modifiers.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::vector<Keycode>> KeyMap::shortcutKeys(EventFlags flags) const {
    constexpr std::array<std::pair<EventFlags, ModifierKey>, 3> wanted{{
        {flag::control, ModifierKey::control},
        {flag::option, ModifierKey::alt},
        {flag::command, ModifierKey::super},
    }};
    std::vector<Keycode> keycodes;
    for (const auto& [bit, modifier] : wanted) {
        if ((flags & bit) == 0)
            continue;
        const auto keycode = key(modifier);
        if (!keycode)
            return std::nullopt;
        keycodes.push_back(*keycode);
    }
    return keycodes;
}

std::vector<Keycode> KeyMap::shiftKeys(int held) const {
    std::vector<Keycode> keycodes;
    if (const auto keycode = key(ModifierKey::level3); keycode && (held & Stroke::level3) != 0)
        keycodes.push_back(*keycode);
    if (const auto keycode = key(ModifierKey::shift); keycode && (held & Stroke::shift) != 0)
        keycodes.push_back(*keycode);
    return keycodes;
}

std::uint8_t KeyMap::shortcutModifiers() const {
    return static_cast<std::uint8_t>(maskOf(ModifierKey::control) | maskOf(ModifierKey::alt) |
                                     maskOf(ModifierKey::super));
}

/// What the key gives without any modifier, in its first group; 0 if nothing.
Keysym KeyMap::plainSymbol(Keycode keycode) const {
    const xkb_keysym_t* symbols = nullptr;
    const int count = xkb_keymap_key_get_syms_by_level(keymap.get(), keycode, 0, 0, &symbols);
    return count == 1 ? symbols[0] : XKB_KEY_NoSymbol;
}

KeyMap::Index KeyMap::indexed(Locks locks) const {
    Index index;
    const std::unique_ptr<xkb_state, Release> state(xkb_state_new(keymap.get()));
    const auto collect = [&](const auto& keycodes, std::uint8_t held, std::uint8_t group) {
        xkb_mod_mask_t depressed = 0;
        if ((held & Stroke::shift) != 0)
            depressed |= maskOf(ModifierKey::shift);
        if ((held & Stroke::level3) != 0)
            depressed |= maskOf(ModifierKey::level3);
        xkb_state_update_mask(state.get(), depressed, 0, locks.modifiers, 0, 0, group);
        for (const auto keycode : keycodes)
            if (const auto symbol = xkb_state_key_get_one_sym(state.get(), keycode);
                symbol != XKB_KEY_NoSymbol)
                index.try_emplace(canonical(symbol), Stroke{keycode, held, group});
    };

    std::vector<std::uint8_t> shifts{0};
    if (key(ModifierKey::shift))
        shifts.push_back(Stroke::shift);
    if (key(ModifierKey::level3))
        shifts.push_back(Stroke::level3);
    if (shifts.size() == 3)
        shifts.push_back(Stroke::shift | Stroke::level3);
    const auto groups = static_cast<std::uint8_t>(xkb_keymap_num_layouts(keymap.get()));
    std::vector<std::uint8_t> order{locks.group};
    for (std::uint8_t group = 0; group < groups; ++group)
        if (group != locks.group)
            order.push_back(group);
    for (const auto group : order)
        for (const auto& keycodes : keys)
            for (const auto held : shifts)
                collect(keycodes, held, group);
    return index;
}

void KeyMap::findModifiers() {
    constexpr std::array<std::pair<ModifierKey, Keysym>, 15> symbols{{
        {ModifierKey::shift, XKB_KEY_Shift_L},
        {ModifierKey::shift, XKB_KEY_Shift_R},
        {ModifierKey::level3, XKB_KEY_ISO_Level3_Shift},
        {ModifierKey::control, XKB_KEY_Control_L},
        {ModifierKey::control, XKB_KEY_Control_R},
        {ModifierKey::alt, XKB_KEY_Alt_L},
        {ModifierKey::alt, XKB_KEY_Alt_R},
        {ModifierKey::alt, XKB_KEY_Meta_L},
        {ModifierKey::alt, XKB_KEY_Meta_R},
        {ModifierKey::super, XKB_KEY_Super_L},
        {ModifierKey::super, XKB_KEY_Super_R},
        {ModifierKey::super, XKB_KEY_Hyper_L},
        {ModifierKey::super, XKB_KEY_Hyper_R},
        {ModifierKey::super, XKB_KEY_Meta_L},
        {ModifierKey::super, XKB_KEY_Meta_R},
    }};
    for (const auto& [modifier, symbol] : symbols) {
        // What is Control or Alt already is not Super as well.
        const auto taken = modifier == ModifierKey::super ? shortcutModifiers() : 0;
        for (const auto& keycodes : keys)
            for (const auto keycode : keycodes)
                if (plainSymbol(keycode) == symbol && (modifiersSetBy(keycode) & ~taken) != 0)
                    modifiers.try_emplace(modifier, keycode);
    }
}

std::uint8_t KeyMap::modifiersSetBy(Keycode keycode) const {
    const std::unique_ptr<xkb_state, Release> state(xkb_state_new(keymap.get()));
    xkb_state_update_key(state.get(), keycode, XKB_KEY_DOWN);
    return static_cast<std::uint8_t>(
        xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_DEPRESSED) & realModifiers);
}

std::uint8_t KeyMap::maskOf(ModifierKey modifier) const {
    const auto keycode = key(modifier);
    return keycode ? modifiersSetBy(*keycode) : std::uint8_t{0};
}

} // namespace platform
