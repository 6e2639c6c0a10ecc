#pragma once

#include "platform/Mutex.h"
#include "tools/preview/Child.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace preview {

/// The place of the one viewer, whose child lives as long as it watches. Any thread.
class Seat {
public:
    struct Viewer {
        /// As it calls itself.
        std::string name;
        std::chrono::system_clock::time_point since;
    };

    /// Starts a child for a new viewer, with this command; returns nullptr while another one
    /// watches. A viewer who is just going is waited for, so that a page can be reloaded. Throws
    /// as `Child` does.
    std::shared_ptr<Child> take(const Words& command, const std::string& viewer);
    /// The viewer is gone. Its child ends with the last reference to it.
    void leave();

    /// The viewer's child; nullptr while nobody watches.
    std::shared_ptr<Child> child() const;
    /// Who watches; nothing while nobody does.
    std::optional<Viewer> viewer() const;

private:
    mutable platform::Mutex lock;
    platform::Condition left;
    std::shared_ptr<Child> taken GUARDED_BY(lock);
    std::optional<Viewer> holder GUARDED_BY(lock);
};

} // namespace preview
