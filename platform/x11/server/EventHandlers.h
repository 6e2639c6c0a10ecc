#pragma once

#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventTypes.h"

#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

namespace platform::x11 {

/// Hands a connection's events to whoever wants to know of them, by type. Belongs to one thread.
class EventHandlers {
public:
    /// The connection outlives the object.
    explicit EventHandlers(const Connection& connection) : connection(connection) {}

    /// Has `handle(event)` called for each event of this type from now on, after the handlers that
    /// are there already; or `handle(event, sequence)` with the number of the last request that
    /// the server had dealt with before. Never, if the server lacks the extension.
    template<class Event, class Handle>
    void on(const EventType<Event>& type, Handle handle) {
        add(type.number, type.extension, type.generic,
            [handle = std::move(handle)](const xcb_generic_event_t& event) mutable {
                const auto& typed = reinterpret_cast<const Event&>(event);
                if constexpr (std::is_invocable_v<Handle&, const Event&, std::uint32_t>)
                    handle(typed, event.full_sequence);
                else
                    handle(typed);
            });
    }

    /// The connection's socket, readable when events have come.
    int descriptor() const { return xcb_get_file_descriptor(connection); }
    bool lost() const { return connection.lost(); }
    /// Handles all events that have arrived.
    void dispatch() const { dispatch(xcb_poll_for_event); }
    /// Handles those that were read while somebody waited for a reply: they include all that the
    /// server had sent before that. Returns whether there were any.
    bool dispatchRead() const { return dispatch(xcb_poll_for_queued_event); }
    /// Sends what was asked for, and always all of it.
    bool flush() const { return xcb_flush(connection) >= 0; }

private:
    /// What an event says of its type.
    struct Key {
        std::uint8_t number;    // as in `response_type`
        std::uint8_t extension; // of a generic event: its extension's opcode, else 0
        std::uint16_t type;     // of a generic event, else 0
        friend bool operator==(Key, Key) = default;
    };
    struct Entry {
        Key key;
        std::function<void(const xcb_generic_event_t&)> handle;
    };
    void add(int number, xcb_extension_t* extension, bool generic,
             std::function<void(const xcb_generic_event_t&)> handle);
    static Key keyOf(const xcb_generic_event_t& event);
    bool dispatch(xcb_generic_event_t* (*next)(xcb_connection_t*)) const;
    void handle(const xcb_generic_event_t& event) const;

    const Connection& connection;
    std::vector<Entry> entries; // so few that they are looked through for each event
};

} // namespace platform::x11
