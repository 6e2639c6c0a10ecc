#pragma once

#include <functional>
#include <list>

namespace platform {

/// Does something when the process ends through std::quick_exit, however far the rest of it has
/// come; for what a desktop would keep otherwise, such as a pressed key. The action runs at most
/// once, on the thread that ends the process, and never once the object is gone.
///
/// Behind it is the one list of the process that `at_quick_exit` can reach.
class AtExit {
public:
    explicit AtExit(std::function<void()> action);
    ~AtExit();
    AtExit(const AtExit&) = delete;
    AtExit& operator=(const AtExit&) = delete;

private:
    std::list<std::function<void()>>::iterator entry;
};

} // namespace platform
