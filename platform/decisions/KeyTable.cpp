#include "platform/decisions/KeyTable.h"

#include <algorithm>
#include <array>
#include <utility>

namespace platform {
namespace {

/// The characters by their keys' numbers, from 0; '_' where a key gives none.
constexpr std::string_view characters = "asdfhgzxcv_bqweryt123465=97-80]ou[ip_lj'k;\\,/nm._ `";

constexpr std::array<std::pair<VirtualKey, Keysym>, 26> others{{
    {36, XKB_KEY_Return},     {48, XKB_KEY_Tab},  {51, XKB_KEY_BackSpace}, {53, XKB_KEY_Escape},
    {76, XKB_KEY_KP_Enter},   {96, XKB_KEY_F5},   {97, XKB_KEY_F6},        {98, XKB_KEY_F7},
    {99, XKB_KEY_F3},         {100, XKB_KEY_F8},  {101, XKB_KEY_F9},       {103, XKB_KEY_F11},
    {109, XKB_KEY_F10},       {111, XKB_KEY_F12}, {115, XKB_KEY_Home},     {116, XKB_KEY_Page_Up},
    {117, XKB_KEY_Delete},    {118, XKB_KEY_F4},  {119, XKB_KEY_End},      {120, XKB_KEY_F2},
    {121, XKB_KEY_Page_Down}, {122, XKB_KEY_F1},  {123, XKB_KEY_Left},     {124, XKB_KEY_Right},
    {125, XKB_KEY_Down},      {126, XKB_KEY_Up},
}};

bool isHighSurrogate(char32_t unit) {
    return unit >= 0xd800 && unit < 0xdc00;
}

bool isLowSurrogate(char32_t unit) {
    return unit >= 0xdc00 && unit < 0xe000;
}

} // namespace

std::optional<Keysym> symbolOf(VirtualKey key) {
    if (key < characters.size() && characters[key] != '_')
        return static_cast<Keysym>(characters[key]);
    const auto* const found = std::ranges::find(others, key, &decltype(others)::value_type::first);
    return found == others.end() ? std::nullopt : std::optional(found->second);
}

std::vector<Keysym> symbolsOf(std::u16string_view text) {
    std::vector<Keysym> symbols;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char32_t character = text[at];
        const char32_t following = at + 1 < text.size() ? text[at + 1] : 0;
        if (isHighSurrogate(character) && isLowSurrogate(following)) {
            character = 0x10000 + ((character - 0xd800) << 10) + (following - 0xdc00);
            ++at;
        } else if (character == '\r' && following == '\n') {
            ++at;
        }
        if (const auto symbol = keysymOf(character))
            symbols.push_back(*symbol);
    }
    return symbols;
}

} // namespace platform
