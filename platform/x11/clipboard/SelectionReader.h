#pragma once

#include "platform/Clock.h"
#include "platform/x11/server/Connection.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace platform::x11 {

/// Gets the contents of a selection from its owner, all at once or in increments (ICCCM 2.4 and
/// 2.7.2), without ever waiting: events drive it. One transfer at a time; what an owner still sends
/// of an earlier one is taken from its hands and dropped. Belongs to the thread that takes the
/// connection's events.
class SelectionReader {
public:
    /// An owner that makes no progress for this long is given up.
    static constexpr std::chrono::seconds patience{2};

    enum class Outcome { complete, cut, refused, stalled, replaced };
    struct Contents {
        Outcome outcome = Outcome::refused;
        xcb_atom_t type = XCB_ATOM_NONE;
        std::uint8_t format = 0; // bits of an item: 8, 16 or 32
        std::vector<std::uint8_t> bytes;
    };
    using Done = std::function<void(const Contents&)>;

    /// `window` is this client's, selects property changes and gets all answers.
    SelectionReader(const Connection& connection, xcb_window_t window, xcb_atom_t selection);

    /// Asks for one form of the contents, up to `limit` bytes. `time` is the server's present time.
    void fetch(xcb_atom_t target, std::size_t limit, xcb_timestamp_t time, Done done);
    /// Gives up a transfer under way.
    void cancel() { finish(Outcome::replaced); }

    void handle(const xcb_selection_notify_event_t& event);
    void handle(const xcb_property_notify_event_t& event);

    /// When to call `giveUpIfStalled`; nothing if no transfer is under way.
    std::optional<MediaTime> deadline() const;
    void giveUpIfStalled(MediaTime now);

private:
    struct Transfer {
        xcb_atom_t property;
        xcb_timestamp_t time;
        std::size_t limit;
        Done done;
        bool incremental = false;
        MediaTime deadline;
        Contents contents;
    };
    /// Moves the property's value into the transfer; whether there was any, or nothing if it could
    /// not be read.
    std::optional<bool> take();
    void finish(Outcome outcome);
    void erase(xcb_atom_t property) const;

    const Connection& connection;
    xcb_window_t window;
    xcb_atom_t selection;
    xcb_atom_t incr;
    /// In turn, so that a late answer is not taken for the one that is awaited.
    std::array<xcb_atom_t, 8> properties;
    std::size_t next = 0;
    std::optional<Transfer> transfer;
};

} // namespace platform::x11
