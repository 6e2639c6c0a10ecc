#include "platform/x11/input/keyboard/KeySymbols.h"

#include "platform/x11/input/keyboard/Xkb.h"

#include <algorithm>
#include <cstring>

namespace platform::x11 {
namespace {

constexpr std::size_t headerSize = sizeof(xcb_xkb_key_sym_map_t);

xcb_xkb_key_sym_map_t headerOf(std::span<const std::uint8_t> bytes) {
    xcb_xkb_key_sym_map_t header{};
    std::memcpy(&header, bytes.data(), headerSize);
    return header;
}

/// The canonical type ALPHABETIC takes Shift and Caps Lock for itself, so a client does not apply
/// them to the symbol; its number is fixed by the protocol.
constexpr std::uint8_t alphabeticType = 2;

std::vector<std::uint8_t> boundEntry(Keysym symbol) {
    constexpr std::uint8_t levels = 2;
    xcb_xkb_key_sym_map_t header{};
    std::ranges::fill(header.kt_index, alphabeticType);
    header.groupInfo = 1;
    header.width = levels;
    header.nSyms = levels;
    std::vector<std::uint8_t> entry(headerSize + levels * sizeof(Keysym));
    std::memcpy(entry.data(), &header, headerSize);
    for (std::size_t level = 0; level < levels; ++level)
        std::memcpy(&entry[headerSize + level * sizeof(Keysym)], &symbol, sizeof(Keysym));
    return entry;
}

/// The entries of all keys of a reply, or none if it is malformed.
std::vector<std::vector<std::uint8_t>> entriesOf(const xcb_xkb_get_map_reply_t& answer) {
    std::vector<std::vector<std::uint8_t>> entries;
    constexpr std::size_t replyHead = 32; // not counted in `length`
    constexpr std::size_t behindHead = sizeof(xcb_xkb_get_map_reply_t) - replyHead;
    const auto available = answer.length * std::size_t{4};
    if (available < behindHead)
        return {};
    std::span rest(static_cast<const std::uint8_t*>(xcb_xkb_get_map_map(&answer)),
                   available - behindHead);
    for (int keycode = answer.minKeyCode; keycode <= answer.maxKeyCode; ++keycode) {
        if (rest.size() < headerSize)
            return {};
        const auto size = headerSize + headerOf(rest).nSyms * sizeof(Keysym);
        if (rest.size() < size)
            return {};
        entries.emplace_back(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size));
        rest = rest.subspan(size);
    }
    return entries;
}

} // namespace

bool KeySymbols::read() {
    const auto answer = reply(connection, xcb_xkb_get_map_reply,
                              xcb_xkb_get_map(connection, device, XCB_XKB_MAP_PART_KEY_SYMS, 0, 0,
                                              0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    if (!answer || answer->firstKeySym != answer->minKeyCode)
        return false;
    auto entries = entriesOf(*answer);
    if (entries.empty())
        return false;
    auto originals = entries;
    if (answer->minKeyCode == first && entries.size() == current.size())
        for (std::size_t index = 0; index < entries.size(); ++index)
            if (entries[index] == current[index])
                originals[index] = original[index];
    first = answer->minKeyCode;
    original = std::move(originals);
    current = std::move(entries);
    return true;
}

bool KeySymbols::hasNone(Keycode keycode) const {
    return has(keycode) && headerOf(original[indexOf(keycode)]).nSyms == 0;
}

std::vector<Keycode> KeySymbols::keysWithoutSymbols() const {
    std::vector<Keycode> keycodes;
    for (std::size_t index = 0; index < original.size(); ++index)
        if (headerOf(original[index]).nSyms == 0)
            keycodes.push_back(static_cast<Keycode>(first + index));
    return keycodes;
}

bool KeySymbols::isBound(Keycode keycode) const {
    return has(keycode) && current[indexOf(keycode)] != original[indexOf(keycode)];
}

void KeySymbols::bind(std::span<const KeyPlanner::Binding> bindings) {
    Keycode from = 255;
    Keycode to = 0;
    for (const auto& [keycode, symbol] : bindings) {
        if (!has(keycode))
            continue;
        current[indexOf(keycode)] = boundEntry(symbol);
        from = std::min(from, keycode);
        to = std::max(to, keycode);
    }
    write(from, to);
}

void KeySymbols::restore() {
    Keycode from = 255;
    Keycode to = 0;
    for (std::size_t index = 0; index < current.size(); ++index) {
        if (current[index] == original[index])
            continue;
        current[index] = original[index];
        const auto keycode = static_cast<Keycode>(first + index);
        from = std::min(from, keycode);
        to = std::max(to, keycode);
    }
    write(from, to);
}

void KeySymbols::write(Keycode from, Keycode to) {
    if (from > to)
        return;
    Entry values;
    std::size_t symbols = 0;
    for (auto index = indexOf(from); index <= indexOf(to); ++index) {
        values.insert(values.end(), current[index].begin(), current[index].end());
        symbols += headerOf(current[index]).nSyms;
    }
    const auto last = static_cast<Keycode>(first + current.size() - 1);
    xcb_xkb_set_map(connection, device, XCB_XKB_MAP_PART_KEY_SYMS, 0, first, last, 0, 0, from,
                    static_cast<std::uint8_t>(to - from + 1), static_cast<std::uint16_t>(symbols),
                    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, values.data());
}

} // namespace platform::x11
