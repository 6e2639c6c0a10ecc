#pragma once

#include "platform/Clock.h"
#include "platform/wayland/server/Connection.h"

#include <ext-idle-notify-v1-client-protocol.h>
#include <idle-client-protocol.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

namespace platform::wayland {

template<>
inline void destroy(wl_callback* proxy) {
    wl_callback_destroy(proxy);
}
template<>
inline void destroy(ext_idle_notifier_v1* proxy) {
    ext_idle_notifier_v1_destroy(proxy);
}
template<>
inline void destroy(ext_idle_notification_v1* proxy) {
    ext_idle_notification_v1_destroy(proxy);
}
template<>
inline void destroy(org_kde_kwin_idle* proxy) {
    org_kde_kwin_idle_destroy(proxy);
}
template<>
inline void destroy(org_kde_kwin_idle_timeout* proxy) {
    org_kde_kwin_idle_timeout_release(proxy);
}

/// Notices that somebody uses the seat in person. The compositor tells when nobody has used it for
/// a moment, and when somebody does again (ext-idle-notify-v1, or org_kde_kwin_idle on older ones);
/// this program's pointer and keyboard count, too. Input counts as a person's if it begins while no
/// event of this program's is on its way, or goes on long after the last one. While this program
/// makes events all the time, people are not noticed.
///
/// Belongs to the connection's thread, but for `secondsSinceInput`.
class PersonWatch {
public:
    /// The seat and the connection outlive the object. Without either protocol nobody is noticed.
    PersonWatch(const Connection& connection, wl_seat* seat);
    ~PersonWatch() = default;
    PersonWatch(const PersonWatch&) = delete;
    PersonWatch& operator=(const PersonWatch&) = delete;

    /// This program has made events, which are on their way from now on.
    void made();
    /// Whether a person is using the seat. False once nothing was heard for so long that it is
    /// rather an application that keeps the seat in use.
    bool isPersonThere(MediaTime now);
    /// When to ask that again, if nothing is heard before.
    std::optional<MediaTime> due(MediaTime now) const;

    /// See EventSource. Callable from any thread.
    double secondsSinceInput() const;

private:
    void idled();
    void resumed();

    void arrived(std::uint32_t serial);
    /// For how long the seat has been in use since it was used by this program; nullopt if it is
    /// not in use, or events of this program's are on their way.
    std::optional<std::chrono::nanoseconds> unexplainedUse(MediaTime now) const;

    const Connection& connection;
    Owned<ext_idle_notification_v1> notification; // one of the two, if any
    Owned<org_kde_kwin_idle_timeout> timeout;
    /// Empty while nobody uses the seat; at first that is not known.
    std::optional<MediaTime> inUseSince = hostTime();
    bool isPerson = false;                     // who uses it
    std::deque<Owned<wl_callback>> onTheirWay; // each is answered behind events of this program's
    std::optional<MediaTime> lastArrived;      // of those
    std::atomic<std::int64_t> lastPerson = 0;  // nanoseconds; 0: none was noticed yet
};

} // namespace platform::wayland
