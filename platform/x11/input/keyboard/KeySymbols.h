#pragma once

#include "platform/decisions/KeyPlanner.h"
#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform::x11 {

/// The symbols on the keys of one keyboard device as the X Keyboard Extension transmits them
/// (KB_KEYSYMMAP), so that what is put back is bit for bit what was there.
class KeySymbols {
public:
    KeySymbols(const Connection& connection, std::uint16_t device)
        : connection(connection),
          device(device) {}

    /// Asks the server. What was bound here and still is remains known as such; what somebody else
    /// has changed is the new original. False if the server does not answer as it should.
    bool read();

    /// Whether the key has no symbol but perhaps one that was bound here.
    bool hasNone(Keycode keycode) const;
    std::vector<Keycode> keysWithoutSymbols() const;
    bool isBound(Keycode keycode) const;

    /// Gives keys one symbol each, whatever Shift and Caps Lock say, with a single request: each
    /// request makes every client fetch the whole map again. The keys in between are rewritten as
    /// they are.
    void bind(std::span<const KeyPlanner::Binding> bindings);
    /// Gives all bound keys their own symbols back.
    void restore();

private:
    using Entry = std::vector<std::uint8_t>;
    void write(Keycode from, Keycode to);
    std::size_t indexOf(Keycode keycode) const { return std::size_t{keycode} - first; }
    bool has(Keycode keycode) const {
        return keycode >= first && indexOf(keycode) < current.size();
    }

    const Connection& connection;
    std::uint16_t device;
    Keycode first = 0;           // of all keys
    std::vector<Entry> original; // by keycode, from `first`
    std::vector<Entry> current;
};

} // namespace platform::x11
