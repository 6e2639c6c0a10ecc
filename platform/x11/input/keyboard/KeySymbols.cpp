#include "platform/x11/input/keyboard/KeySymbols.h"

#include "platform/x11/server/Xkb.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

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

constexpr std::uint8_t boundLevels = 2;
/// What no layout does: it names the type of groups that the key does not have. So an entry that a
/// process left behind which was killed is known for what it is.
constexpr xcb_xkb_key_sym_map_t boundHeader{
    .kt_index = {alphabeticType, alphabeticType, alphabeticType, alphabeticType},
    .groupInfo = 1,
    .width = boundLevels,
    .nSyms = boundLevels,
};

KeySymbols::Entry entryOf(const xcb_xkb_key_sym_map_t& header, std::optional<Keysym> symbol) {
    KeySymbols::Entry entry(headerSize + header.nSyms * sizeof(Keysym));
    std::memcpy(entry.data(), &header, headerSize);
    for (std::size_t level = 0; level < header.nSyms; ++level)
        std::memcpy(&entry[headerSize + level * sizeof(Keysym)], &*symbol, sizeof(Keysym));
    return entry;
}

KeySymbols::Entry emptyEntry() {
    return entryOf({}, std::nullopt);
}

/// The symbol that an entry of our own kind gives its key.
std::optional<Keysym> boundSymbol(const KeySymbols::Entry& entry) {
    Keysym symbol = 0;
    if (entry.size() < headerSize + sizeof symbol)
        return std::nullopt;
    std::memcpy(&symbol, &entry[headerSize], sizeof symbol);
    return entry == entryOf(boundHeader, symbol) ? std::optional(symbol) : std::nullopt;
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
    auto read = entriesOf(*answer);
    if (read.empty())
        return false;
    first = answer->minKeyCode;
    entries = std::move(read);
    idle.reset();
    const auto all = spares();
    const auto unbound =
        std::ranges::find_if(all, [](const KeyPlanner::Spare& spare) { return !spare.symbol; });
    if (all.size() > 1 && unbound != all.end())
        idle = unbound->keycode;
    return true;
}

std::vector<KeyPlanner::Spare> KeySymbols::spares() const {
    std::vector<KeyPlanner::Spare> spares;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const auto keycode = static_cast<Keycode>(first + index);
        const auto symbol = boundSymbol(entries[index]);
        if (keycode != idle && (symbol || headerOf(entries[index]).nSyms == 0))
            spares.push_back({keycode, symbol});
    }
    return spares;
}

void KeySymbols::bind(std::span<const KeyPlanner::Binding> bindings) {
    std::set<Keycode> changed;
    for (const auto& [keycode, symbol] : bindings) {
        if (keycode < first || keycode - first >= static_cast<int>(entries.size()))
            continue;
        entries[keycode - first] = entryOf(boundHeader, symbol);
        changed.insert(keycode);
    }
    write(changed);
}

void KeySymbols::unbind() {
    std::set<Keycode> changed;
    for (const auto& [keycode, symbol] : spares()) {
        if (!symbol)
            continue;
        entries[keycode - first] = emptyEntry();
        changed.insert(keycode);
    }
    write(changed);
}

void KeySymbols::write(const std::set<Keycode>& changed) {
    if (changed.empty())
        return;
    const auto from = *changed.begin();
    const auto to = *changed.rbegin();
    Entry values;
    std::size_t symbols = 0;
    for (auto index = from - first; index <= to - first; ++index) {
        const auto& entry = entries[static_cast<std::size_t>(index)];
        values.insert(values.end(), entry.begin(), entry.end());
        symbols += headerOf(entry).nSyms;
    }
    const auto last = static_cast<Keycode>(first + entries.size() - 1);
    // Servers as old as those without XInput 2.1 refuse symbols that come without types; none at
    // all will do.
    const std::uint16_t parts = device == XCB_XKB_ID_USE_CORE_KBD
                                    ? XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_KEY_TYPES
                                    : XCB_XKB_MAP_PART_KEY_SYMS;
    const auto request = xcb_xkb_set_map(connection, device, parts, 0, first, last, 0, 0, from,
                                         static_cast<std::uint8_t>(to - from + 1),
                                         static_cast<std::uint16_t>(symbols), 0, 0, 0, 0, 0, 0, 0,
                                         0, 0, 0, 0, 0, 0, 0, 0, 0, values.data());
    lastWrite = request.sequence;
    // What others change from now on carries the number of a later request.
    xcb_no_operation(connection);
}

} // namespace platform::x11
