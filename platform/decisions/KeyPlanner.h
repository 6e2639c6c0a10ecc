#pragma once

#include "platform/Clock.h"
#include "platform/decisions/KeyMap.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace platform {

/// Plans how a text is typed where the keyboard lacks some of its characters: spare keycodes are
/// bound to them for a while, a whole batch at a time. Pure; the caller binds, presses and tells
/// the time.
///
/// An X client looks up what a keycode means when it gets round to the event, in the keyboard's map
/// as it is by then. So a keycode keeps its meaning until the client can be expected to have
/// handled its last press.
class KeyPlanner {
public:
    using Lookup = std::function<std::optional<Stroke>(Keysym)>;

    /// Clients fetch the whole map after each change before they handle the keys behind it; most
    /// have done so after this long.
    static constexpr std::chrono::milliseconds hold{200};
    /// The time for one key that is granted to a slow client; what it has not handled piles up.
    static constexpr std::chrono::milliseconds timeForKey{20};
    /// No client is believed to be further behind than this: all input waits meanwhile.
    static constexpr std::chrono::seconds maxWait{5};

    struct Binding {
        Keycode keycode = 0;
        Keysym symbol = 0;
    };
    /// A keycode that has no symbol but one that it was bound to.
    struct Spare {
        Keycode keycode = 0;
        std::optional<Keysym> symbol{};
        friend bool operator==(const Spare&, const Spare&) = default;
    };
    /// First all of the bindings, not before a time, then the strokes.
    struct Batch {
        std::vector<Binding> bindings;
        /// One for each symbol of the text that can be typed now; empty for what no key can give.
        std::vector<std::optional<Stroke>> strokes;
        MediaTime notBefore;
    };

    /// The keycodes that may be bound, as the server has them.
    void setSpares(const std::vector<Spare>& spares);

    /// How the text begins: as much of it as one set of bindings can type. `lookup` finds the keys
    /// of the keyboard.
    Batch next(std::span<const Keysym> text, const Lookup& lookup, MediaTime now) const;
    /// The batch was bound, and the strokes pressed. Unless `readersLag`, they are understood as
    /// they were meant whatever is bound next.
    void pressed(const Batch& batch, MediaTime now, bool readersLag = true);

    bool anyBound() const;
    /// When the last binding may be taken away.
    MediaTime releasable() const;
    /// The bindings were taken away.
    void released();

private:
    struct Key : Spare {
        MediaTime free{};    // from then on it may be bound anew
        bool pinned = false; // needed by the batch being planned
    };
    static Key* boundTo(std::vector<Key>& keys, Keysym symbol);
    static Key* oldestUnpinned(std::vector<Key>& keys);
    Key* find(Keycode keycode);

    std::vector<Key> keys;
    MediaTime handled{}; // when a slow client will have handled all that was pressed
};

} // namespace platform
