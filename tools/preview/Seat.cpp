#include "tools/preview/Seat.h"

#include <chrono>
#include <utility>

namespace preview {
namespace {

/// Longer than it takes to notice that a page is gone.
constexpr auto leavingTime = std::chrono::seconds(1);

} // namespace

Seat::Seat(Words command) : command(std::move(command)) {}

std::shared_ptr<Child> Seat::take() {
    std::unique_lock guard(lock);
    if (!left.wait_for(guard, leavingTime, [&] { return !taken; }))
        return nullptr;
    taken = std::make_shared<Child>(command);
    return taken;
}

void Seat::leave() {
    // Outside the lock, since a child may take its time to end.
    std::shared_ptr<Child> going;
    {
        const std::lock_guard guard(lock);
        going = std::exchange(taken, nullptr);
    }
    left.notify_one();
}

std::shared_ptr<Child> Seat::child() const {
    const std::lock_guard guard(lock);
    return taken;
}

} // namespace preview
