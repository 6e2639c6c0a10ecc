#include "platform/x11/clipboard/SelectionReader.h"

#include <algorithm>
#include <string>
#include <utility>

namespace platform::x11 {

SelectionReader::SelectionReader(const Connection& connection, xcb_window_t window,
                                 xcb_atom_t selection)
    : connection(connection),
      window(window),
      selection(selection),
      incr(connection.atom("INCR")) {
    for (std::size_t index = 0; index < properties.size(); ++index)
        properties[index] = connection.atom("ORVEL_CONTENTS_" + std::to_string(index));
}

void SelectionReader::fetch(xcb_atom_t target, std::size_t limit, xcb_timestamp_t time, Done done) {
    cancel();
    const auto property = properties[next++ % properties.size()];
    erase(property);
    transfer = Transfer{property, time, limit, std::move(done), false, hostTime() + patience, {}};
    xcb_convert_selection(connection, window, selection, target, property, time);
}

void SelectionReader::handle(const xcb_selection_notify_event_t& event) {
    if (!transfer || event.time != transfer->time || event.selection != selection)
        return;
    if (event.property == XCB_ATOM_NONE)
        return finish(Outcome::refused);
    if (event.property != transfer->property || transfer->incremental)
        return;
    const auto some = take();
    if (!some)
        return finish(Outcome::refused);
    if (transfer->contents.type == incr) {
        transfer->incremental = true;
        transfer->contents.bytes.clear();
        transfer->deadline = hostTime() + patience;
        return;
    }
    finish(transfer->contents.bytes.size() >= transfer->limit ? Outcome::cut : Outcome::complete);
}

void SelectionReader::handle(const xcb_property_notify_event_t& event) {
    if (event.state != XCB_PROPERTY_NEW_VALUE ||
        std::ranges::find(properties, event.atom) == properties.end())
        return;
    if (!transfer || event.atom != transfer->property)
        return erase(event.atom); // Of an earlier transfer: its owner waits to send more.
    if (!transfer->incremental)
        return; // The notification that all of it is there follows.
    const auto some = take();
    transfer->deadline = hostTime() + patience;
    if (!some.value_or(false))
        finish(Outcome::complete);
    else if (transfer->contents.bytes.size() >= transfer->limit)
        finish(Outcome::cut);
}

std::optional<bool> SelectionReader::take() {
    auto& contents = transfer->contents;
    const auto room = transfer->limit - std::min(transfer->limit, contents.bytes.size());
    constexpr std::size_t unit = 4; // in which lengths of properties count
    const auto units = static_cast<std::uint32_t>((room + unit - 1) / unit);
    const auto answer = reply(connection, xcb_get_property_reply,
                              xcb_get_property(connection, 0, window, transfer->property,
                                               XCB_GET_PROPERTY_TYPE_ANY, 0, units));
    erase(transfer->property);
    if (!answer)
        return std::nullopt;
    const auto* bytes = static_cast<const std::uint8_t*>(xcb_get_property_value(answer.get()));
    const auto length = xcb_get_property_value_length(answer.get());
    contents.type = answer->type;
    contents.format = answer->format;
    contents.bytes.insert(contents.bytes.end(), bytes, bytes + length);
    return length > 0;
}

std::optional<MediaTime> SelectionReader::deadline() const {
    return transfer ? std::optional(transfer->deadline) : std::nullopt;
}

void SelectionReader::giveUpIfStalled(MediaTime now) {
    if (transfer && transfer->deadline <= now)
        finish(Outcome::stalled);
}

void SelectionReader::finish(Outcome outcome) {
    if (!transfer)
        return;
    auto finished = *std::exchange(transfer, std::nullopt);
    finished.contents.outcome = outcome;
    // Last, because it may ask for more.
    finished.done(finished.contents);
}

void SelectionReader::erase(xcb_atom_t property) const {
    xcb_delete_property(connection, window, property);
}

} // namespace platform::x11
