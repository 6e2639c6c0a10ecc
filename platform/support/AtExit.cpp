#include "platform/support/AtExit.h"

#include "platform/Mutex.h"

#include <cstdlib>
#include <utility>

namespace platform {
namespace {

struct Actions {
    Actions() {
        // Registration fails only when the table is full; then there is nothing better to do.
        (void)std::at_quick_exit([] { Actions::all().run(); });
    }

    void run() {
        const MutexLock locked(lock);
        for (const auto& action : entries)
            action();
    }

    static Actions& all() {
        static Actions actions;
        return actions;
    }

    Mutex lock;
    std::list<std::function<void()>> entries GUARDED_BY(lock);
};

} // namespace

AtExit::AtExit(std::function<void()> action) {
    auto& actions = Actions::all();
    const MutexLock locked(actions.lock);
    entry = actions.entries.insert(actions.entries.end(), std::move(action));
}

AtExit::~AtExit() {
    auto& actions = Actions::all();
    const MutexLock locked(actions.lock);
    actions.entries.erase(entry);
}

} // namespace platform
