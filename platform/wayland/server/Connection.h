#pragma once

#include <wayland-client.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace platform::wayland {

/// How an object of the compositor's is given back; each kind that is owned says it.
template<class T>
void destroy(T* proxy) = delete;

struct Destroy {
    template<class T>
    void operator()(T* proxy) const {
        destroy(proxy);
    }
};
/// An object of the compositor's, in the hands of this program. It must not outlive the connection.
template<class T>
using Owned = std::unique_ptr<T, Destroy>;

template<auto method>
struct Calling;
template<class T, class... Arguments, void (T::*method)(Arguments...)>
struct Calling<method> {
    template<class Proxy>
    static void call(void* data, Proxy*, Arguments... arguments) {
        (static_cast<T*>(data)->*method)(arguments...);
    }
};
/// For a listener's table: the event calls this method of the object that the listener was added
/// with. The method throws nothing, for a C library calls it.
template<auto method, class Proxy, class... Arguments>
void calls(void* data, Proxy* proxy, Arguments... arguments) {
    Calling<method>::call(data, proxy, arguments...);
}
/// For a listener's table: the event is of no interest.
template<class... Arguments>
void ignored(Arguments...) {}

/// One connection to the compositor that WAYLAND_DISPLAY names. A compositor that goes away shows
/// in `lost`, never in a signal or an exit. Used by one thread at a time.
class Connection {
public:
    /// Returns nullptr if there is no compositor to be reached.
    static std::unique_ptr<Connection> open();

    operator wl_display*() const { return display.get(); } // NOLINT(google-explicit-constructor)
    /// For poll: readable when events have come.
    int descriptor() const { return wl_display_get_fd(display.get()); }
    bool lost() const { return wl_display_get_error(display.get()) != 0; }
    /// Sends what was asked for so far, and handles all events that have arrived. Never waits.
    void dispatch() const;
    /// Handles those that were read while somebody waited for an answer. Returns whether there were
    /// any.
    bool dispatchRead() const { return wl_display_dispatch_pending(display.get()) > 0; }
    /// Sends what was asked for. Returns false if the socket has no room for all of it.
    bool flush() const { return wl_display_flush(display.get()) >= 0; }
    /// Waits until the compositor has dealt with all requests so far; false if it is gone.
    bool roundTrip() const { return wl_display_roundtrip(display.get()) >= 0; }

    /// What the compositor offers: global objects, by their numbers, as of the events so far.
    struct Global {
        std::string interface;
        std::uint32_t version;
    };
    const std::map<std::uint32_t, Global>& globals() const { return registry->globals; }
    /// Whether it offers this, such as `wl_shm_interface`, in this version or a later one.
    bool has(const wl_interface& interface, std::uint32_t version = 1) const;
    /// The first global object of this kind, in this version; nullptr if there is none.
    template<class T>
    Owned<T> bind(const wl_interface& interface, std::uint32_t version = 1) const {
        const auto number = find(interface, version);
        return number != 0 ? bind<T>(number, interface, version) : nullptr;
    }
    /// The global object of this number, whose kind and version must be right.
    template<class T>
    Owned<T> bind(std::uint32_t number, const wl_interface& interface,
                  std::uint32_t version) const {
        return Owned<T>(
            static_cast<T*>(wl_registry_bind(registry->proxy.get(), number, &interface, version)));
    }

private:
    struct Disconnect {
        void operator()(wl_display* open) const { wl_display_disconnect(open); }
    };
    struct Registry {
        explicit Registry(wl_display* display);
        void added(std::uint32_t number, const char* interface, std::uint32_t version) {
            globals[number] = {interface, version};
        }
        void removed(std::uint32_t number) { globals.erase(number); }

        Owned<wl_registry> proxy;
        std::map<std::uint32_t, Global> globals;
    };
    explicit Connection(std::unique_ptr<wl_display, Disconnect> open)
        : display(std::move(open)),
          registry(std::make_unique<Registry>(display.get())) {}
    /// 0 if there is none.
    std::uint32_t find(const wl_interface& interface, std::uint32_t version) const;

    std::unique_ptr<wl_display, Disconnect> display;
    std::unique_ptr<Registry> registry;
};

template<>
inline void destroy(wl_registry* proxy) {
    wl_registry_destroy(proxy);
}

} // namespace platform::wayland
