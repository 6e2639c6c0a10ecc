#include "platform/x11/input/keyboard/FocusedClient.h"

#include <algorithm>
#include <span>

namespace platform::x11 {
namespace {

/// Windows between the one with the focus and the one the window manager knows; toolkits have two
/// or three.
constexpr int mostAncestors = 16;
/// Atoms of WM_PROTOCOLS that are looked at; there are half a dozen in use.
constexpr std::uint32_t mostProtocols = 32;

} // namespace

FocusedClient::FocusedClient(const Connection& connection)
    : connection(connection),
      protocols(connection.atom("WM_PROTOCOLS")),
      ping(connection.atom("_NET_WM_PING")) {}

bool FocusedClient::ask(std::uint32_t number) {
    const auto window = windowThatAnswers();
    if (!window)
        return false;
    listen(true);
    xcb_client_message_event_t question{};
    question.response_type = XCB_CLIENT_MESSAGE;
    question.format = 32;
    question.window = *window;
    question.type = protocols;
    question.data.data32[0] = ping;
    question.data.data32[1] = number;
    question.data.data32[2] = *window;
    xcb_send_event(connection, 0, *window, 0, reinterpret_cast<const char*>(&question));
    xcb_flush(connection);
    return true;
}

std::optional<std::uint32_t> FocusedClient::answerIn(const xcb_generic_event_t& event) const {
    if ((event.response_type & 0x7f) != XCB_CLIENT_MESSAGE)
        return std::nullopt;
    const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
    if (message.window != connection.root() || message.type != protocols || message.format != 32 ||
        message.data.data32[0] != ping)
        return std::nullopt;
    return message.data.data32[1];
}

void FocusedClient::stopListening() {
    listen(false);
}

std::optional<xcb_window_t> FocusedClient::windowThatAnswers() const {
    const auto focus =
        reply(connection, xcb_get_input_focus_reply, xcb_get_input_focus(connection));
    auto window = focus ? focus->focus : xcb_window_t{XCB_NONE};
    for (int step = 0; step < mostAncestors; ++step) {
        if (window <= XCB_INPUT_FOCUS_POINTER_ROOT || window == connection.root())
            return std::nullopt;
        if (answers(window))
            return window;
        const auto tree =
            reply(connection, xcb_query_tree_reply, xcb_query_tree(connection, window));
        window = tree ? tree->parent : xcb_window_t{XCB_NONE};
    }
    return std::nullopt;
}

bool FocusedClient::answers(xcb_window_t window) const {
    const auto property =
        reply(connection, xcb_get_property_reply,
              xcb_get_property(connection, 0, window, protocols, XCB_ATOM_ATOM, 0, mostProtocols));
    if (!property || property->format != 32)
        return false;
    const std::span atoms(static_cast<const xcb_atom_t*>(xcb_get_property_value(property.get())),
                          property->value_len);
    return std::ranges::find(atoms, ping) != atoms.end();
}

void FocusedClient::listen(bool on) {
    if (on == listening)
        return;
    listening = on;
    // The answers are sent to whoever manages the children of the root window.
    const std::uint32_t events = on ? XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY : XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(connection, connection.root(), XCB_CW_EVENT_MASK, &events);
}

} // namespace platform::x11
