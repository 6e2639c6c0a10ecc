#include "platform/x11/server/Desktop.h"

#include "platform/Mutex.h"

#include <algorithm>
#include <vector>

namespace platform::x11 {
namespace {

class Desktop {
public:
    std::shared_ptr<const Connection> connection() {
        const MutexLock locked(lock);
        followServer();
        return open;
    }

    std::optional<Monitor> monitor(DisplayID display) {
        const MutexLock locked(lock);
        followServer();
        if (!open)
            return std::nullopt;
        if (!cached)
            cached = monitors(*open);
        const auto found = std::ranges::find(*cached, display, &Monitor::id);
        return found != cached->end() ? std::optional(*found) : std::nullopt;
    }

private:
    /// Looking for events also shows whether the server is still there.
    void followServer() REQUIRES(lock) {
        if (open)
            handlers->dispatch();
        if (open && !open->lost())
            return;
        cached.reset();
        open = Connection::open();
        if (!open)
            return;
        handlers.emplace(*open);
        watchMonitors(*open, *handlers, [this]() REQUIRES(lock) { cached.reset(); });
    }

    Mutex lock;
    std::shared_ptr<const Connection> open GUARDED_BY(lock);
    std::optional<EventHandlers> handlers GUARDED_BY(lock); // never empty while there is `open`
    std::optional<std::vector<Monitor>> cached GUARDED_BY(lock); // unless they may have changed
};

Desktop& theDesktop() {
    static Desktop desktop;
    return desktop;
}

} // namespace

std::shared_ptr<const Connection> desktop() {
    return theDesktop().connection();
}

std::optional<Monitor> desktopMonitor(DisplayID display) {
    return theDesktop().monitor(display);
}

} // namespace platform::x11
