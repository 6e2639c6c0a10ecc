#pragma once

#include "platform/x11/server/Connection.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace platform::x11 {

/// Gets the contents of a selection from its owner, all at once or in increments (ICCCM 2.4 and
/// 2.7.2), without ever waiting: events drive it, and an owner that never answers holds up nothing.
/// One transfer at a time, each with a window of its own: once that is destroyed, an owner that has
/// more to send can't, and nothing of it is taken for an answer to a later question. Belongs to the
/// thread that handles the connection's events.
///
/// An owner of which enough has come may still send some more, unread. There are owners that serve
/// one requestor at a time (xclip is one): cut short, they would never serve another.
class SelectionReader {
public:
    /// Increments that an owner may send beyond what is wanted; xclip's have a megabyte.
    static constexpr int maxUnreadIncrements = 16;

    enum class Outcome { received, refused, replaced };
    struct Contents {
        Outcome outcome = Outcome::refused;
        xcb_atom_t type = XCB_ATOM_NONE;
        std::uint8_t format = 0; // bits of an item: 8, 16 or 32
        std::vector<std::uint8_t> bytes;
    };
    using Done = std::function<void(const Contents&)>;

    SelectionReader(const Connection& connection, xcb_atom_t selection);

    /// Asks for one form of the contents, up to `limit` bytes or a little more. `time` is the
    /// server's present time. `done` is called once, and may ask for more.
    void fetch(xcb_atom_t target, std::size_t limit, xcb_timestamp_t time, Done done);
    /// Gives up a transfer under way.
    void cancel() { finish(Outcome::replaced); }

    void handle(const xcb_selection_notify_event_t& event);
    void handle(const xcb_property_notify_event_t& event);

private:
    struct Transfer {
        xcb_window_t window;
        std::size_t limit;
        Done done;
        bool incremental = false;
        Contents contents{};
    };
    /// A window to which an owner may send what is not wanted.
    struct Leftover {
        xcb_window_t window;
        int increments = maxUnreadIncrements; // that it may still send
    };
    /// Moves what the property holds into the transfer, as far as it is wanted. Returns how many
    /// bytes that were; nullopt if it could not be read.
    std::optional<std::size_t> take();
    void finish(Outcome outcome);
    void acceptLeftover();
    void endLeftover();

    const Connection& connection;
    xcb_atom_t selection;
    xcb_atom_t property; // of a transfer's window, where the owner puts the contents
    xcb_atom_t incr;
    std::optional<Transfer> transfer;
    std::optional<Leftover> leftover;
};

} // namespace platform::x11
