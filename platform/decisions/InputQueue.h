#pragma once

#include "platform/Clock.h"
#include "platform/Events.h"
#include "platform/Keysym.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <span>
#include <variant>
#include <vector>

namespace platform {

/// Input events on their way to the desktop, in the order in which they were posted. Decides what
/// is to be done next and when. Pure: the caller carries it out and tells the time.
class InputQueue {
public:
    /// Stands behind events. Dropped with them, without a call, when they are given up.
    struct Marker {
        std::function<void()> reached; ///< Called once they have arrived.
    };
    using Event = std::variant<MouseEvent, ScrollWheelEvent, KeyboardEvent, Marker>;

    /// One key that is pressed and released.
    struct Tap {
        VirtualKey key = 0;
        EventFlags flags = 0;
    };
    /// Texts that follow upon each other are one, so that its missing characters are bound
    /// together.
    struct Text {
        std::vector<Keysym> symbols;
        EventFlags flags = 0;
        std::size_t typed = 0; ///< That many of the symbols are done.
    };
    using Entry = std::variant<MouseEvent, ScrollWheelEvent, Tap, Text, Marker>;

    /// Symbols of a text that are typed without checking for the program's end or for a person.
    static constexpr std::size_t maxAtOnce = 256;
    /// How fast keys may follow each other.
    struct Pace {
        std::size_t maxKeysAtOnce = maxAtOnce;
        std::chrono::nanoseconds timeForKey{0};
    };
    /// Input methods hand each key to another process and back, and some clients exchange keys that
    /// come in the meantime: with IBus, Qt 6 below 5 ms and GTK 4 below 30, while it draws.
    static constexpr Pace paceOfInputMethods{1, std::chrono::milliseconds(30)};

    void push(const Event& event);
    /// Gives up everything.
    void clear() {
        entries.clear();
        untyped = 0;
        notBefore = {};
    }
    bool empty() const { return entries.empty(); }
    /// How much waits: every symbol of a text counts.
    std::size_t size() const { return entries.size() + untyped; }

    /// Applies to what is done from now on.
    void setPace(Pace wanted) { pace = wanted; }

    /// What to do now. Returns nullptr if there is nothing or if it has to wait until `dueAt`.
    const Entry* due(MediaTime now) const;
    MediaTime dueAt() const { return notBefore; }
    /// The next part of the first entry, which is a text; never empty. No more than the first
    /// `maxKeysAtOnce` of it are to be typed now.
    std::span<const Keysym> portion() const;
    std::size_t maxKeysAtOnce() const { return pace.maxKeysAtOnce; }

    /// What was due has been done: of a text this many symbols, at least one.
    void done(MediaTime now, std::size_t symbols = 1);
    /// What was due has to wait.
    void wait(MediaTime until) { notBefore = until; }

private:
    template<class Each>
    void append(const Each& entry) {
        entries.emplace_back(entry);
    }
    void append(const KeyboardEvent& key);

    std::deque<Entry> entries;
    std::size_t untyped = 0; // symbols of texts
    MediaTime notBefore;
    Pace pace;
};

} // namespace platform
