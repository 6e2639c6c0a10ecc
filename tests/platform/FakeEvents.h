#pragma once

#include "platform/Events.h"

#include <limits>
#include <utility>
#include <variant>
#include <vector>

/// Stands behind Events.h and the permission to post, and remembers what was posted.
namespace test {

using PostedEvent =
    std::variant<platform::MouseEvent, platform::ScrollWheelEvent, platform::KeyboardEvent>;

struct FakeEvents {
    bool permitted = true; ///< Whether events may be posted.
    bool available = true; ///< Whether a source can be had.
    bool accepting = true; ///< Whether an event can be posted.
    double secondsSinceLastInput = std::numeric_limits<double>::infinity();
    std::vector<PostedEvent> posted{};

    /// The events of one kind; takes everything off the record.
    template<class Event>
    std::vector<Event> take() {
        std::vector<Event> events;
        for (const auto& each : std::exchange(posted, {}))
            if (const auto* event = std::get_if<Event>(&each))
                events.push_back(*event);
        return events;
    }
};

FakeEvents& fakeEvents();

} // namespace test
