#pragma once

#include "platform/x11/server/Connection.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace platform::x11 {

/// Owns a selection and hands its text to whoever asks (ICCCM 2.2). Belongs to the thread that
/// handles the connection's events.
class SelectionOwner {
public:
    /// `window` is this client's.
    SelectionOwner(const Connection& connection, xcb_window_t window, xcb_atom_t selection);

    /// Takes the selection. `time` is the server's present time. Returns false if the
    /// server refuses.
    bool offer(std::string text, xcb_timestamp_t time);
    /// Whether the selection is ours, as far as the events handled so far tell.
    bool offers() const { return text.has_value(); }
    /// Asks the clipboard manager to keep the text beyond the end of this program
    /// (freedesktop.org's clipboard manager specification). The window gets a SelectionNotify once
    /// that is done, or if there is no manager.
    void askManagerToKeep(xcb_timestamp_t time) const;

    void handle(const xcb_selection_request_event_t& request) const;
    /// Somebody else has taken the selection. `sequence`: see EventHandlers.
    void handle(const xcb_selection_clear_event_t& event, std::uint32_t sequence);

private:
    struct Atoms {
        explicit Atoms(const Connection& connection);
        xcb_atom_t targets, timestamp, multiple, atomPair, utf8String, plainText, manager,
            saveTargets;
    };
    std::array<xcb_atom_t, 3> textTargets() const;
    bool isAnswerable(const xcb_selection_request_event_t& request) const;
    bool convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property) const;
    bool convertMultiple(xcb_window_t requestor, xcb_atom_t property) const;
    void putText(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t type,
                 const std::string& bytes) const;

    const Connection& connection;
    xcb_window_t window;
    xcb_atom_t selection;
    Atoms atoms;
    std::optional<std::string> text;
    xcb_timestamp_t since = 0;       // when the server let us have the selection
    std::uint32_t takingRequest = 0; // the sequence number of the request for it
};

} // namespace platform::x11
