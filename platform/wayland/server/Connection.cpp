#include "platform/wayland/server/Connection.h"

#include <algorithm>
#include <cstdlib>

namespace platform::wayland {

std::unique_ptr<Connection> Connection::open() {
    // The library would speak on standard error, of a compositor that is gone for instance.
    wl_log_set_handler_client([](const char*, va_list) {});
    const char* const name = std::getenv("WAYLAND_DISPLAY"); // NOLINT(concurrency-mt-unsafe)
    if (!name || *name == '\0')
        return nullptr;
    std::unique_ptr<wl_display, Disconnect> display(wl_display_connect(name));
    if (!display)
        return nullptr;
    std::unique_ptr<Connection> connection(new Connection(std::move(display)));
    return connection->roundTrip() ? std::move(connection) : nullptr;
}

Connection::Registry::Registry(wl_display* display) : proxy(wl_display_get_registry(display)) {
    static constexpr wl_registry_listener listener{
        .global = calls<&Registry::added>,
        .global_remove = calls<&Registry::removed>,
    };
    wl_registry_add_listener(proxy.get(), &listener, this);
}

void Connection::dispatch() const {
    while (wl_display_prepare_read(*this) != 0)
        if (wl_display_dispatch_pending(*this) < 0)
            return; // The connection is lost, whatever else has arrived.
    wl_display_flush(*this);
    wl_display_read_events(*this);
    wl_display_dispatch_pending(*this);
}

std::uint32_t Connection::find(const wl_interface& interface, std::uint32_t version) const {
    const auto found = std::ranges::find_if(globals(), [&](const auto& each) {
        return each.second.interface == interface.name && each.second.version >= version;
    });
    return found != globals().end() ? found->first : 0;
}

bool Connection::has(const wl_interface& interface, std::uint32_t version) const {
    return find(interface, version) != 0;
}

} // namespace platform::wayland
