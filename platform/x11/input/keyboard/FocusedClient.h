#pragma once

#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <optional>

namespace platform::x11 {

/// Learns how far the client with the keyboard focus has got with its events, by the question by
/// which window managers find out whether a client is alive (_NET_WM_PING of the Extended Window
/// Manager Hints): it is answered in the order of the events. Toolkits answer, bare X clients do
/// not. Belongs to the thread that takes the connection's events.
class FocusedClient {
public:
    explicit FocusedClient(const Connection& connection);

    /// Asks behind all events that the client has been sent so far. False if it does not answer
    /// such questions.
    bool ask(std::uint32_t number);
    /// The number of the question that this event answers.
    std::optional<std::uint32_t> answerIn(const xcb_generic_event_t& event) const;
    /// No answer is of interest any more.
    void stopListening();

private:
    std::optional<xcb_window_t> windowThatAnswers() const;
    bool answers(xcb_window_t window) const;
    void listen(bool on);

    const Connection& connection;
    xcb_atom_t protocols;
    xcb_atom_t ping;
    bool listening = false;
};

} // namespace platform::x11
