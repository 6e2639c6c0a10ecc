#pragma once

#include "platform/Events.h"

#include <variant>
#include <vector>

/// Stands behind Events.h and the permission to post, and remembers what was posted.
namespace test {

using PostedEvent =
    std::variant<platform::MouseEvent, platform::ScrollWheelEvent, platform::KeyboardEvent>;

struct FakeEvents {
    bool available = true; ///< Whether a source can be had.
    std::vector<PostedEvent> posted{};
};

FakeEvents& fakeEvents();

} // namespace test
