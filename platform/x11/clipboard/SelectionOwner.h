#pragma once

#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <optional>
#include <string>

namespace platform::x11 {

/// Owns a selection and hands its text to whoever asks (ICCCM 2.2). Belongs to the thread that
/// takes the connection's events.
class SelectionOwner {
public:
    SelectionOwner(const Connection& connection, xcb_window_t window, xcb_atom_t selection);

    /// Takes the selection. `time` is the server's present time. False if the server refuses.
    bool offer(std::string text, xcb_timestamp_t time);
    /// The text offered while the selection is ours.
    const std::optional<std::string>& offered() const { return text; }

    void handle(const xcb_selection_request_event_t& request) const;
    /// Somebody else has taken the selection.
    void handle(const xcb_selection_clear_event_t& event);

private:
    struct Atoms {
        explicit Atoms(const Connection& connection);
        xcb_atom_t targets, timestamp, multiple, atomPair, utf8String, plainText;
    };
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
    xcb_timestamp_t since = 0;
};

} // namespace platform::x11
