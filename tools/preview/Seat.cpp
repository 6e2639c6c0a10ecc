#include "tools/preview/Seat.h"

#include <utility>

namespace preview {
namespace {

/// Longer than it takes to notice that a page is gone.
constexpr auto leavingTime = std::chrono::seconds(1);

} // namespace

std::shared_ptr<Child> Seat::take(const Words& command, const std::string& viewer) {
    const auto limit = std::chrono::steady_clock::now() + leavingTime;
    const platform::MutexLock locked(lock);
    while (taken)
        if (!left.waitUntil(lock, limit))
            return nullptr;
    taken = std::make_shared<Child>(command);
    holder = {viewer, std::chrono::system_clock::now()};
    return taken;
}

void Seat::leave() {
    // Outside the lock, since a child may take its time to end.
    std::shared_ptr<Child> going;
    {
        const platform::MutexLock locked(lock);
        going = std::exchange(taken, nullptr);
        holder.reset();
    }
    left.notifyAll();
}

std::shared_ptr<Child> Seat::child() const {
    const platform::MutexLock locked(lock);
    return taken;
}

std::optional<Seat::Viewer> Seat::viewer() const {
    const platform::MutexLock locked(lock);
    return holder;
}

} // namespace preview
