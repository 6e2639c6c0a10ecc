#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace platform::x11 {

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};
/// A reply, event or error; XCB hands them out for the caller to free.
template<class T>
using Owned = std::unique_ptr<T, FreeMemory>;

/// Waits for the reply to a request: `reply(connection, xcb_get_geometry_reply, cookie)`. Returns
/// nullptr if the server answered with an error or is gone.
template<class T, class Cookie>
Owned<T> reply(xcb_connection_t* connection,
               T* (*wait)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) {
    xcb_generic_error_t* error = nullptr;
    Owned<T> answer(wait(connection, cookie, &error));
    const Owned<xcb_generic_error_t> owned(error);
    return answer;
}

/// One connection to the X server that DISPLAY names. A server that goes away shows in `lost` and
/// in empty replies, never in a signal or an exit. XCB serialises the requests of several threads;
/// events go to whichever thread asks, so a connection has one thread that does.
class Connection {
public:
    /// Returns nullptr if there is no server to be reached.
    static std::unique_ptr<Connection> open();

    /// Lets the object be passed to XCB's functions as it is.
    operator xcb_connection_t*() const {
        return connection.get();
    } // NOLINT(google-explicit-constructor)
    const xcb_screen_t& screen() const { return *firstScreen; }
    xcb_window_t root() const { return firstScreen->root; }
    bool lost() const { return xcb_connection_has_error(connection.get()) != 0; }
    /// Whether the server has the extension, such as `&xcb_damage_id`.
    bool has(xcb_extension_t* extension) const;
    /// The same for one that XCB has no functions for; asks the server.
    bool has(std::string_view extension) const;
    /// The number that the extension's requests and generic events carry.
    std::uint8_t opcode(xcb_extension_t* extension) const;
    /// The number of the extension's first event.
    std::uint8_t firstEvent(xcb_extension_t* extension) const;
    /// The atom of this name; made if it does not exist yet.
    xcb_atom_t atom(std::string_view name) const;
    /// Returns the name of an atom, in bytes of any encoding; an empty one if there is no such
    /// atom.
    std::string nameOf(xcb_atom_t atom) const;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* open) const { xcb_disconnect(open); }
    };
    Connection(std::unique_ptr<xcb_connection_t, Disconnect> open, const xcb_screen_t* screen)
        : connection(std::move(open)),
          firstScreen(screen) {}

    std::unique_ptr<xcb_connection_t, Disconnect> connection;
    const xcb_screen_t* firstScreen;
};

/// Waits until the server has dealt with all requests so far. Returns false if it is gone.
bool roundTrip(const Connection& connection);

} // namespace platform::x11
