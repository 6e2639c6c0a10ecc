#include "platform/decisions/KeyMap.h"

#include "platform/decisions/KeyTable.h"

#include <gtest/gtest.h>

#include <string>

using namespace platform;

namespace {

struct Release {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
    void operator()(xkb_keymap* map) const { xkb_keymap_unref(map); }
};

KeyMap keyMap(const std::string& layout, const std::string& options = "") {
    const std::unique_ptr<xkb_context, Release> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    const xkb_rule_names names{"evdev", "pc105", layout.c_str(), "", options.c_str()};
    const std::unique_ptr<xkb_keymap, Release> map(
        xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS));
    return KeyMap(map.get());
}

// Places on a PC keyboard, as X numbers them.
constexpr Keycode digit1 = 10;
constexpr Keycode q = 24;
constexpr Keycode e = 26;
constexpr Keycode y = 29;
constexpr Keycode a = 38;
constexpr Keycode c = 54;

constexpr Locks unlocked{};
constexpr Locks capsLocked{Locks::capsLock, 0};

Stroke stroke(Keycode keycode, std::uint8_t held = 0, std::uint8_t group = 0) {
    return {keycode, held, group};
}

} // namespace

TEST(KeyMap, FindsCharactersWhereTheLayoutHasThem) {
    EXPECT_EQ(keyMap("us").find('y', unlocked), stroke(y));
    EXPECT_EQ(keyMap("us").find('!', unlocked), stroke(digit1, Stroke::shift));
    EXPECT_EQ(keyMap("de").find('z', unlocked), stroke(y));
    EXPECT_EQ(keyMap("de").find('@', unlocked), stroke(q, Stroke::level3));
    EXPECT_EQ(keyMap("de").find(*keysymOf(0x20ac), unlocked), stroke(e, Stroke::level3));
    EXPECT_EQ(keyMap("fr").find('1', unlocked), stroke(digit1, Stroke::shift));
    EXPECT_EQ(keyMap("fr").find('q', unlocked), stroke(a));
    EXPECT_EQ(keyMap("us").find(*keysymOf(0xe9), unlocked), std::nullopt);
}

TEST(KeyMap, AnotherGroupIsTheLastResort) {
    const auto map = keyMap("us,ru");
    constexpr Keysym russianEs = 0x01000441;
    EXPECT_EQ(map.find('c', unlocked), stroke(c));
    EXPECT_EQ(map.find(russianEs, unlocked), stroke(c, 0, 1));
    EXPECT_EQ(map.find(russianEs, {0, 1}), stroke(c, 0, 1));
    EXPECT_EQ(map.find('c', {0, 1}), stroke(c, 0, 0));
    EXPECT_EQ(map.find('.', {0, 1})->group, 1) << "the Russian group has a full stop of its own";
}

TEST(KeyMap, CapsLockTurnsShiftRound) {
    EXPECT_EQ(keyMap("us").find('a', capsLocked), stroke(a, Stroke::shift));
    EXPECT_EQ(keyMap("us").find('A', capsLocked), stroke(a));
    EXPECT_EQ(keyMap("us").find('1', capsLocked), stroke(digit1));
}

TEST(KeyMap, EveryPlaceOfAnAnsiKeyboardHasItsKey) {
    const auto map = keyMap("us");
    for (VirtualKey key = 0; key < 128; ++key)
        if (const auto symbol = symbolOf(key)) {
            const auto found = map.find(*symbol, unlocked);
            ASSERT_TRUE(found) << key;
            EXPECT_EQ(found->held, 0) << key;
        }
    for (const auto modifier : {ModifierKey::shift, ModifierKey::level3, ModifierKey::control,
                                ModifierKey::alt, ModifierKey::super}) {
        ASSERT_TRUE(map.key(modifier));
        EXPECT_NE(map.modifiersSetBy(*map.key(modifier)), 0);
    }
    EXPECT_EQ(map.modifiersSetBy(a), 0);
}

TEST(KeyMap, KeysThatEveryKeyboardHasComeFirst) {
    constexpr Keycode digit9 = 18;
    constexpr Keycode comma = 59;
    constexpr Keycode leftWindows = 133;
    constexpr Keycode rightAlt = 108;
    EXPECT_EQ(keyMap("us").find('(', unlocked), stroke(digit9, Stroke::shift));
    EXPECT_EQ(keyMap("us").find('<', unlocked), stroke(comma, Stroke::shift));
    EXPECT_EQ(keyMap("de").key(ModifierKey::level3), rightAlt);
    EXPECT_EQ(keyMap("us", "altwin:hyper_win").key(ModifierKey::super), leftWindows);
}

TEST(KeyMap, LineEndsAndTabsAreKeysAndOtherControlCharactersNothing) {
    EXPECT_EQ(keysymOf('\n'), Keysym{XKB_KEY_Return});
    EXPECT_EQ(keysymOf('\t'), Keysym{XKB_KEY_Tab});
    EXPECT_EQ(keysymOf(0x1b), std::nullopt);
    EXPECT_EQ(keysymOf(0x85), std::nullopt);
    EXPECT_EQ(keysymOf(0xd800), std::nullopt);
    EXPECT_EQ(keysymOf(0x1f600), Keysym{0x0101f600});
}
