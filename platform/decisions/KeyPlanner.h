#pragma once

#include "platform/decisions/KeyMap.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace platform {

/// Plans how a text is typed where the keyboard lacks some of its characters: spare keycodes are
/// bound to them for a while, a whole batch at a time. Pure; the caller binds, presses and tells
/// the time.
///
/// A client looks up what a keycode means when it gets round to the event, in the keyboard's map
/// as it is by then. So a keycode keeps its meaning until the client says that it has handled its
/// last press or, if it is of the kind that does not say, can be expected to have.
class KeyPlanner {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;
    using Lookup = std::function<std::optional<Stroke>(Keysym)>;

    /// Clients fetch the whole map after each change before they handle the keys behind it; most
    /// have done so after this long.
    static constexpr std::chrono::milliseconds hold{200};
    /// The time for one key that is granted to a slow client; what it has not handled piles up.
    static constexpr std::chrono::milliseconds timeForKey{20};
    /// No client is waited for longer, neither for the answer of one that says when it has handled
    /// a key nor on the belief that another is so far behind: all input waits meanwhile.
    static constexpr std::chrono::seconds longestWait{5};
    /// Even then: input methods look at a key once more a little later.
    static constexpr std::chrono::milliseconds holdWhenHandled{50};

    struct Binding {
        Keycode keycode = 0;
        Keysym symbol = 0;
    };

    /// First all of the bindings, not before a time, then all of the strokes.
    struct Batch {
        std::vector<Binding> bindings;
        std::vector<Stroke> strokes;
        std::size_t symbols = 0; ///< That many of the text are done then.
        Time notBefore;
    };

    /// The keycodes that may be bound. One known already keeps its symbol if it is `stillBound`.
    void setSpares(const std::vector<Keycode>& keycodes,
                   const std::function<bool(Keycode)>& stillBound);
    bool isSpare(Keycode keycode) const;

    /// How the text begins: as much of it as one set of bindings can type. `lookup` finds the keys
    /// of the keyboard. What cannot be typed at all is passed over.
    Batch next(std::span<const Keysym> text, const Lookup& lookup, Time now) const;

    /// The batch was pressed. `answering`: the client will say when it has handled it, for which
    /// the batch has the number `pressedBatches` from now on.
    void pressed(const Batch& batch, Time now, bool answering);
    std::uint32_t pressedBatches() const { return batches; }
    /// The client has handled this batch and all before it. A number of no batch so far is the
    /// answer to somebody else's question and means nothing.
    void handledBatch(std::uint32_t number, Time now);

    bool anyBound() const;
    /// When the last binding may be taken away.
    Time releasable() const;
    /// The bindings were taken away.
    void released();

private:
    struct Spare {
        Keycode keycode = 0;
        std::optional<Keysym> symbol{}; // bound to
        Time pressed{};                 // last
        std::uint32_t batch = 0;        // in which it was
        Time free{};                    // from then on it may be bound anew
        bool pinned = false;            // needed by the batch being planned
    };
    static Spare* boundTo(std::vector<Spare>& spares, Keysym symbol);
    static Spare* oldestUnpinned(std::vector<Spare>& spares);
    Spare* spare(Keycode keycode);

    std::vector<Spare> spares;
    std::uint32_t batches = 0;
    Time handled{}; // when a slow client will have handled all that was pressed
};

} // namespace platform
