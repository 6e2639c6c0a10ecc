#pragma once

#include "tools/preview/Child.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace preview {

/// The place of the one viewer, whose child lives as long as it watches. Any thread.
class Seat {
public:
    /// Every viewer gets a child of its own, started with this command.
    explicit Seat(Words command);

    /// Starts the child of a new viewer; nothing while another one watches. A viewer who is just
    /// going is waited for, so that a page can be reloaded. Throws as `Child` does.
    std::shared_ptr<Child> take();
    /// The viewer is gone. Its child ends with the last reference to it.
    void leave();

    /// The viewer's child; nothing while nobody watches.
    std::shared_ptr<Child> child() const;

private:
    const Words command;
    mutable std::mutex lock;
    std::condition_variable left;
    std::shared_ptr<Child> taken; // under lock
};

} // namespace preview
