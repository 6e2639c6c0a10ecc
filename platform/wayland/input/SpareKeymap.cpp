#include "platform/wayland/input/SpareKeymap.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>
#include <utility>

namespace platform::wayland {
namespace {

/// A second name of some key, by which a keymap made here is known again.
constexpr std::string_view mark = "ORVL";

/// X clients know no others.
constexpr xkb_keycode_t minKeycode = 8;
constexpr xkb_keycode_t maxKeycode = 255;

/// Browsers take a key by its place on a keyboard, and know no others than these of those that may
/// give nothing: F13 to F24, Lang5, IntlRo and IntlYen in UI Events, 8 more than in Linux.
bool mayBeSpare(xkb_keycode_t keycode) {
    constexpr xkb_keycode_t f13 = 191;
    constexpr xkb_keycode_t f24 = 202;
    constexpr std::array<xkb_keycode_t, 3> ofJapaneseKeyboards{93, 97, 132};
    return (keycode >= f13 && keycode <= f24) ||
           std::ranges::find(ofJapaneseKeyboards, keycode) != ofJapaneseKeyboards.end();
}

/// Whether a key types something, rather than start a program or the like.
bool givesCharacters(xkb_keymap* map, xkb_keycode_t keycode) {
    for (xkb_layout_index_t group = 0; group < xkb_keymap_num_layouts_for_key(map, keycode);
         ++group) {
        const xkb_keysym_t* symbols = nullptr;
        if (xkb_keymap_key_get_syms_by_level(map, keycode, group, 0, &symbols) > 0 &&
            xkb_keysym_to_utf32(*symbols) != 0)
            return true;
    }
    return false;
}

/// Where the lines of a section end; npos if there is no such section.
std::size_t endOf(std::string_view section, const std::string& text) {
    const auto begin = text.find(section);
    return begin == std::string::npos ? begin : text.find("\n};", begin);
}

std::string symbolName(Keysym symbol) {
    std::array<char, 64> name{};
    const int length = xkb_keysym_get_name(symbol, name.data(), name.size());
    return {name.data(), static_cast<std::size_t>(std::max(length, 0))};
}

/// Nothing is said on standard error, whatever the keymap.
xkb_context* newContext(int flags) {
    auto* const context = xkb_context_new(static_cast<xkb_context_flags>(flags));
    if (context)
        xkb_context_set_log_fn(context, [](xkb_context*, xkb_log_level, const char*, va_list) {});
    return context;
}

} // namespace

std::unique_ptr<SpareKeymap> SpareKeymap::create(const std::string& text) {
    const std::unique_ptr<xkb_context, Release> context(
        newContext(XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    return context ? from(std::unique_ptr<xkb_keymap, Release>(xkb_keymap_new_from_string(
                         context.get(), text.c_str(), XKB_KEYMAP_FORMAT_TEXT_V1,
                         XKB_KEYMAP_COMPILE_NO_FLAGS)))
                   : nullptr;
}

std::unique_ptr<SpareKeymap> SpareKeymap::createDefault() {
    const std::unique_ptr<xkb_context, Release> context(newContext(XKB_CONTEXT_NO_FLAGS));
    return context ? from(std::unique_ptr<xkb_keymap, Release>(xkb_keymap_new_from_names(
                         context.get(), nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS)))
                   : nullptr;
}

bool SpareKeymap::isOwn(std::string_view text) {
    return text.find(mark) != std::string_view::npos;
}

std::unique_ptr<SpareKeymap> SpareKeymap::from(std::unique_ptr<xkb_keymap, Release> map) {
    if (!map)
        return nullptr;
    std::unique_ptr<SpareKeymap> result(new SpareKeymap(std::move(map)));
    const bool isWhole = result->someKey != 0 && result->endOfKeycodes != std::string::npos &&
                         result->endOfSymbols != std::string::npos;
    return isWhole ? std::move(result) : nullptr;
}

SpareKeymap::SpareKeymap(std::unique_ptr<xkb_keymap, Release> owned) : map(std::move(owned)) {
    if (char* const text = xkb_keymap_get_as_string(map.get(), XKB_KEYMAP_FORMAT_TEXT_V1)) {
        written = text;
        std::free(text);
    }
    endOfKeycodes = endOf("xkb_keycodes", written);
    endOfSymbols = endOf("xkb_symbols", written);
    const auto last = std::min(xkb_keymap_max_keycode(map.get()), maxKeycode);
    for (auto keycode = std::max(xkb_keymap_min_keycode(map.get()), minKeycode); keycode <= last;
         ++keycode)
        if (mayBeSpare(keycode) && !givesCharacters(map.get(), keycode))
            unused.push_back(static_cast<Keycode>(keycode));
        else if (xkb_keymap_num_layouts_for_key(map.get(), keycode) != 0)
            someKey = static_cast<Keycode>(keycode);
}

/// Keys that are not there have no name; no name in use begins with such a letter and two digits.
std::string SpareKeymap::nameOf(Keycode keycode) const {
    const char* const name = xkb_keymap_key_get_name(map.get(), keycode);
    std::ostringstream invented;
    invented << "O" << int{keycode};
    return name ? name : invented.str();
}

std::string SpareKeymap::text(const std::map<Keycode, Keysym>& bound) const {
    std::ostringstream names;
    std::ostringstream symbols;
    names << "\n\talias <" << mark << "> = <" << nameOf(someKey) << ">;";
    for (const auto& [keycode, symbol] : bound) {
        if (!xkb_keymap_key_get_name(map.get(), keycode))
            names << "\n\t<" << nameOf(keycode) << "> = " << int{keycode} << ";";
        symbols << "\n\treplace key <" << nameOf(keycode) << "> { [ " << symbolName(symbol)
                << " ] };";
    }
    return written.substr(0, endOfKeycodes) + names.str() +
           written.substr(endOfKeycodes, endOfSymbols - endOfKeycodes) + symbols.str() +
           written.substr(endOfSymbols);
}

} // namespace platform::wayland
