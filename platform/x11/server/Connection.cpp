#include "platform/x11/server/Connection.h"

#include "platform/Mutex.h"

#include <cstdint>

namespace platform::x11 {

std::unique_ptr<Connection> Connection::open() {
    // libXau, which looks up the password for the server, keeps a file name in a static buffer.
    static Mutex oneAtATime;
    const MutexLock locked(oneAtATime);
    int preferred = 0;
    std::unique_ptr<xcb_connection_t, Disconnect> opened(xcb_connect(nullptr, &preferred));
    if (xcb_connection_has_error(opened.get()) != 0)
        return nullptr;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(opened.get()));
    while (preferred-- > 0 && screens.rem > 1)
        xcb_screen_next(&screens);
    if (screens.rem == 0)
        return nullptr;
    return std::unique_ptr<Connection>(new Connection(std::move(opened), screens.data));
}

bool Connection::has(xcb_extension_t* extension) const {
    const auto* data = xcb_get_extension_data(*this, extension);
    return data && data->present != 0;
}

bool Connection::has(std::string_view extension) const {
    const auto answer = reply(
        *this, xcb_query_extension_reply,
        xcb_query_extension(*this, static_cast<std::uint16_t>(extension.size()), extension.data()));
    return answer && answer->present != 0;
}

std::uint8_t Connection::opcode(xcb_extension_t* extension) const {
    const auto* data = xcb_get_extension_data(*this, extension);
    return data ? data->major_opcode : 0;
}

std::uint8_t Connection::firstEvent(xcb_extension_t* extension) const {
    const auto* data = xcb_get_extension_data(*this, extension);
    return data ? data->first_event : 0;
}

xcb_atom_t Connection::atom(std::string_view name) const {
    const auto cookie =
        xcb_intern_atom(*this, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const auto answer = reply(*this, xcb_intern_atom_reply, cookie);
    return answer ? answer->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::string Connection::nameOf(xcb_atom_t atom) const {
    const auto answer = reply(*this, xcb_get_atom_name_reply, xcb_get_atom_name(*this, atom));
    if (!answer)
        return {};
    return {xcb_get_atom_name_name(answer.get()),
            static_cast<std::size_t>(xcb_get_atom_name_name_length(answer.get()))};
}

bool roundTrip(const Connection& connection) {
    const auto cookie = xcb_get_input_focus(connection);
    return reply(connection, xcb_get_input_focus_reply, cookie) != nullptr;
}

} // namespace platform::x11
