#include "platform/x11/clipboard/SelectionReader.h"

#include "platform/x11/clipboard/HiddenWindow.h"

#include <algorithm>
#include <utility>

namespace platform::x11 {

SelectionReader::SelectionReader(const Connection& connection, xcb_atom_t selection)
    : connection(connection),
      selection(selection),
      property(connection.atom("ORVEL_CONTENTS")),
      incr(connection.atom("INCR")) {}

void SelectionReader::fetch(xcb_atom_t target, std::size_t limit, xcb_timestamp_t time, Done done) {
    cancel();
    endLeftover();
    const auto window = createHiddenWindow(connection);
    transfer = Transfer{window, limit, std::move(done)};
    xcb_convert_selection(connection, window, selection, target, property, time);
}

void SelectionReader::handle(const xcb_selection_notify_event_t& event) {
    if (!transfer || event.requestor != transfer->window || transfer->incremental)
        return;
    if (event.property == XCB_ATOM_NONE || !take())
        return finish(Outcome::refused);
    auto& contents = transfer->contents;
    if (contents.type == incr) {
        transfer->incremental = true;
        contents.bytes.clear();
        return;
    }
    finish(Outcome::received);
}

void SelectionReader::handle(const xcb_property_notify_event_t& event) {
    if (event.state != XCB_PROPERTY_NEW_VALUE)
        return;
    if (leftover && event.window == leftover->window)
        return acceptLeftover();
    if (!transfer || event.window != transfer->window || !transfer->incremental)
        return;
    const auto length = take().value_or(0);
    if (length == 0 || transfer->contents.bytes.size() >= transfer->limit)
        finish(Outcome::received);
}

std::optional<std::size_t> SelectionReader::take() {
    auto& contents = transfer->contents;
    const auto room = transfer->limit - std::min(transfer->limit, contents.bytes.size());
    constexpr std::size_t unit = 4; // in which lengths of properties count
    const auto units = static_cast<std::uint32_t>((room + unit - 1) / unit);
    // Deletes the property if that was all of it, which asks for the next increment.
    const auto answer = reply(connection, xcb_get_property_reply,
                              xcb_get_property(connection, 1, transfer->window, property,
                                               XCB_GET_PROPERTY_TYPE_ANY, 0, units));
    if (!answer)
        return std::nullopt;
    const auto* bytes = static_cast<const std::uint8_t*>(xcb_get_property_value(answer.get()));
    const auto length = static_cast<std::size_t>(xcb_get_property_value_length(answer.get()));
    contents.type = answer->type;
    contents.format = answer->format;
    contents.bytes.insert(contents.bytes.end(), bytes, bytes + length);
    return length;
}

void SelectionReader::finish(Outcome outcome) {
    if (!transfer)
        return;
    auto finished = *std::exchange(transfer, std::nullopt);
    if (outcome == Outcome::received && finished.incremental) {
        leftover = Leftover{finished.window};
        acceptLeftover();
    } else {
        xcb_destroy_window(connection, finished.window);
    }
    finished.contents.outcome = outcome;
    // Last, because it may ask for more.
    finished.done(finished.contents);
}

void SelectionReader::acceptLeftover() {
    if (leftover->increments-- > 0)
        xcb_delete_property(connection, leftover->window, property);
    else
        endLeftover();
}

void SelectionReader::endLeftover() {
    if (leftover)
        xcb_destroy_window(connection, leftover->window);
    leftover.reset();
}

} // namespace platform::x11
