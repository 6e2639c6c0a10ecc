#include "platform/x11/clipboard/SelectionOwner.h"

#include "platform/Text.h"
#include "platform/decisions/SelectionText.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace platform::x11 {
namespace {

/// A text goes into a property in pieces that fit the smallest request a server must take (16,384
/// bytes). The whole is there before the requestor hears of it, so that it need not be incremental.
constexpr std::size_t pieceSize = 16000;

/// Conversions in one MULTIPLE request; there are no more than six to be had.
constexpr std::uint32_t maxConversions = 32;

/// Server times wrap round after seven weeks.
bool isBefore(xcb_timestamp_t time, xcb_timestamp_t other) {
    return static_cast<std::int32_t>(time - other) < 0;
}

} // namespace

SelectionOwner::Atoms::Atoms(const Connection& connection)
    : targets(connection.atom("TARGETS")),
      timestamp(connection.atom("TIMESTAMP")),
      multiple(connection.atom("MULTIPLE")),
      atomPair(connection.atom("ATOM_PAIR")),
      utf8String(connection.atom("UTF8_STRING")),
      plainText(connection.atom("text/plain;charset=utf-8")),
      manager(connection.atom("CLIPBOARD_MANAGER")),
      saveTargets(connection.atom("SAVE_TARGETS")) {}

SelectionOwner::SelectionOwner(const Connection& connection, xcb_window_t window,
                               xcb_atom_t selection)
    : connection(connection),
      window(window),
      selection(selection),
      atoms(connection) {}

std::array<xcb_atom_t, 3> SelectionOwner::textTargets() const {
    return {atoms.utf8String, atoms.plainText, XCB_ATOM_STRING};
}

bool SelectionOwner::offer(std::string offered, xcb_timestamp_t time) {
    takingRequest = xcb_set_selection_owner(connection, window, selection, time).sequence;
    const auto answer = reply(connection, xcb_get_selection_owner_reply,
                              xcb_get_selection_owner(connection, selection));
    if (!answer || answer->owner != window)
        return false;
    text = std::move(offered);
    since = time;
    return true;
}

void SelectionOwner::askManagerToKeep(xcb_timestamp_t time) const {
    const auto kept = textTargets();
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atoms.saveTargets, XCB_ATOM_ATOM,
                        32, static_cast<std::uint32_t>(kept.size()), kept.data());
    xcb_convert_selection(connection, window, atoms.manager, atoms.saveTargets, atoms.saveTargets,
                          time);
}

void SelectionOwner::handle(const xcb_selection_clear_event_t& event, std::uint32_t sequence) {
    // An event from before we took the selection again is about the time before. Times do not tell,
    // for two programs may take it within a millisecond.
    if (event.selection == selection && static_cast<std::int32_t>(sequence - takingRequest) >= 0)
        text.reset();
}

void SelectionOwner::handle(const xcb_selection_request_event_t& request) const {
    // Old clients leave the choice of the property to the owner.
    const auto property = request.property != XCB_ATOM_NONE ? request.property : request.target;
    const bool done = isAnswerable(request) && convert(request.requestor, request.target, property);
    xcb_selection_notify_event_t answer{};
    answer.response_type = XCB_SELECTION_NOTIFY;
    answer.time = request.time;
    answer.requestor = request.requestor;
    answer.selection = request.selection;
    answer.target = request.target;
    answer.property = done ? property : xcb_atom_t{XCB_ATOM_NONE};
    // Events on the wire have 32 bytes whatever their contents.
    std::array<char, 32> event{};
    std::copy_n(reinterpret_cast<const char*>(&answer), sizeof answer, event.begin());
    xcb_send_event(connection, 0, request.requestor, 0, event.data());
}

bool SelectionOwner::isAnswerable(const xcb_selection_request_event_t& request) const {
    return text && request.selection == selection &&
           (request.time == XCB_CURRENT_TIME || !isBefore(request.time, since));
}

bool SelectionOwner::convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property) const {
    const auto put = [&](xcb_atom_t type, const auto& items) {
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, requestor, property, type, 32,
                            static_cast<std::uint32_t>(items.size()), items.data());
    };
    if (target == atoms.targets)
        put(XCB_ATOM_ATOM,
            std::array{atoms.targets, atoms.timestamp, atoms.multiple, atoms.utf8String,
                       atoms.plainText, xcb_atom_t{XCB_ATOM_STRING}});
    else if (target == atoms.timestamp)
        put(XCB_ATOM_INTEGER, std::array{since});
    else if (target == atoms.utf8String || target == atoms.plainText)
        putText(requestor, property, target, *text);
    else if (target == XCB_ATOM_STRING)
        putText(requestor, property, target, latin1FromUTF8(*text));
    else
        return target == atoms.multiple && convertMultiple(requestor, property);
    return true;
}

bool SelectionOwner::convertMultiple(xcb_window_t requestor, xcb_atom_t property) const {
    const auto answer = reply(connection, xcb_get_property_reply,
                              xcb_get_property(connection, 0, requestor, property,
                                               XCB_GET_PROPERTY_TYPE_ANY, 0, 2 * maxConversions));
    if (!answer || answer->format != 32)
        return false;
    const auto* values = static_cast<const xcb_atom_t*>(xcb_get_property_value(answer.get()));
    std::vector<xcb_atom_t> pairs(values, values + answer->value_len);
    for (std::size_t at = 0; at + 1 < pairs.size(); at += 2)
        if (pairs[at] == atoms.multiple || !convert(requestor, pairs[at], pairs[at + 1]))
            pairs[at + 1] = XCB_ATOM_NONE;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, requestor, property, atoms.atomPair, 32,
                        static_cast<std::uint32_t>(pairs.size()), pairs.data());
    return true;
}

void SelectionOwner::putText(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t type,
                             const std::string& bytes) const {
    auto mode = XCB_PROP_MODE_REPLACE;
    std::size_t at = 0;
    do {
        const auto length = std::min(pieceSize, bytes.size() - at);
        xcb_change_property(connection, static_cast<std::uint8_t>(mode), requestor, property, type,
                            8, static_cast<std::uint32_t>(length), bytes.data() + at);
        mode = XCB_PROP_MODE_APPEND;
        at += length;
    } while (at < bytes.size());
}

} // namespace platform::x11
