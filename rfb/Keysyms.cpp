#include "rfb/Keysyms.h"

#include "platform/Keysym.h"

#include <algorithm>
#include <array>
#include <utility>

namespace orvel {
namespace {

template<class Value, std::size_t size>
using NameTable = std::array<std::pair<std::string_view, Value>, size>;

constexpr NameTable<std::uint8_t, 3> masks{{{"left", 1}, {"middle", 2}, {"right", 4}}};

constexpr NameTable<std::uint32_t, 4> modsyms{
    {{"shift", 0xFFE1}, {"ctrl", 0xFFE3}, {"option", 0xFFE9}, {"cmd", 0xFFEB}}};

constexpr NameTable<std::uint32_t, 27> keysyms{{{"return", 0xFF0D},
                                                {"enter", 0xFF8D},
                                                {"tab", 0xFF09},
                                                {"escape", 0xFF1B},
                                                {"delete", 0xFF08},
                                                {"space", 0x0020},
                                                {"forwarddelete", 0xFFFF},
                                                {"left", 0xFF51},
                                                {"up", 0xFF52},
                                                {"right", 0xFF53},
                                                {"down", 0xFF54},
                                                {"home", 0xFF50},
                                                {"end", 0xFF57},
                                                {"pageup", 0xFF55},
                                                {"pagedown", 0xFF56},
                                                {"f1", 0xFFBE},
                                                {"f2", 0xFFBF},
                                                {"f3", 0xFFC0},
                                                {"f4", 0xFFC1},
                                                {"f5", 0xFFC2},
                                                {"f6", 0xFFC3},
                                                {"f7", 0xFFC4},
                                                {"f8", 0xFFC5},
                                                {"f9", 0xFFC6},
                                                {"f10", 0xFFC7},
                                                {"f11", 0xFFC8},
                                                {"f12", 0xFFC9}}};

template<class Value, std::size_t size>
std::optional<Value> lookUp(const NameTable<Value, size>& table, std::string_view name) {
    const auto* const found =
        std::ranges::find(table, name, &std::pair<std::string_view, Value>::first);
    if (found == table.end())
        return std::nullopt;
    return found->second;
}

} // namespace

std::optional<std::uint8_t> buttonMask(std::string_view name) {
    return lookUp(masks, name);
}

std::optional<std::uint32_t> modifierKeysym(std::string_view name) {
    return lookUp(modsyms, name);
}

std::optional<std::uint32_t> namedKeysym(std::string_view name) {
    return lookUp(keysyms, name);
}

std::uint32_t keysym(char32_t scalar) {
    if (scalar == U'\n')
        return *namedKeysym("return");
    if (scalar == U'\t')
        return *namedKeysym("tab");
    return platform::characterKeysym(scalar);
}

} // namespace orvel
