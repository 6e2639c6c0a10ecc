#pragma once

#include "platform/decisions/KeyPlanner.h"
#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <vector>

namespace platform::x11 {

/// The symbols on the keys of one keyboard device as the X Keyboard Extension transmits them
/// (KB_KEYSYMMAP).
class KeySymbols {
public:
    /// A key's: a header, then its symbols.
    using Entry = std::vector<std::uint8_t>;

    KeySymbols(const Connection& connection, std::uint16_t device)
        : connection(connection),
          device(device) {}

    /// Asks the server. Returns false if it does not answer as it should.
    bool read();

    /// The keys that have no symbol, or one that was bound here or by another process of this kind;
    /// not the idle one.
    std::vector<KeyPlanner::Spare> spares() const;
    /// A key that has no symbol and gets none. Empty if there is no other spare key.
    std::optional<Keycode> idleKey() const { return idle; }

    /// Gives keys one symbol each, whatever Shift and Caps Lock say, with a single request: each
    /// request makes every client fetch the whole map again. The keys in between are rewritten as
    /// they are.
    void bind(std::span<const KeyPlanner::Binding> bindings);
    /// Leaves all bound keys without a symbol, as they were.
    void unbind();

    /// The number of the last request made here that changes the map.
    std::uint32_t lastChange() const { return lastWrite; }

private:
    void write(const std::set<Keycode>& changed);

    const Connection& connection;
    std::uint16_t device;
    Keycode first = 0;          // of all keys
    std::vector<Entry> entries; // by keycode, from `first`
    std::optional<Keycode> idle;
    std::uint32_t lastWrite = 0;
};

} // namespace platform::x11
