#include "platform/x11/server/EventHandlers.h"

namespace platform::x11 {

void EventHandlers::add(int number, xcb_extension_t* extension, bool generic,
                        std::function<void(const xcb_generic_event_t&)> handle) {
    if (extension && !connection.has(extension))
        return;
    Key key{static_cast<std::uint8_t>(number), 0, 0};
    if (generic)
        key = {XCB_GE_GENERIC, connection.opcode(extension), static_cast<std::uint16_t>(number)};
    else if (extension)
        key.number = static_cast<std::uint8_t>(connection.firstEvent(extension) + number);
    entries.push_back({key, std::move(handle)});
}

bool EventHandlers::dispatch(xcb_generic_event_t* (*next)(xcb_connection_t*)) const {
    bool any = false;
    while (const Owned<xcb_generic_event_t> event{next(connection)}) {
        handle(*event);
        any = true;
    }
    return any;
}

void EventHandlers::handle(const xcb_generic_event_t& event) const {
    const Key key = keyOf(event);
    for (const auto& entry : entries)
        if (entry.key == key)
            entry.handle(event);
}

EventHandlers::Key EventHandlers::keyOf(const xcb_generic_event_t& event) {
    // The top bit tells that another client has sent the event.
    const auto number = static_cast<std::uint8_t>(event.response_type & 0x7f);
    if (number != XCB_GE_GENERIC)
        return {number, 0, 0};
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    return {number, generic.extension, generic.event_type};
}

} // namespace platform::x11
