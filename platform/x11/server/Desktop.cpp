#include "platform/x11/server/Desktop.h"

#include "platform/Mutex.h"

namespace platform::x11 {

std::shared_ptr<const Connection> desktop() {
    static Mutex lock;
    static std::shared_ptr<const Connection> open GUARDED_BY(lock);
    const MutexLock locked(lock);
    // No events are selected; looking for one shows whether the server is still there.
    if (open)
        Owned<xcb_generic_event_t>{xcb_poll_for_event(*open)};
    if (!open || open->lost())
        open = Connection::open();
    return open;
}

} // namespace platform::x11
