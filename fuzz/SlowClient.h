#pragma once

#include "platform/decisions/KeyPlanner.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <vector>

namespace fuzz {

/// A keyboard and a client that needs its time for each key, and only then looks up what the key
/// means: a keycode that is not bound means its own number.
class SlowClient {
public:
    explicit SlowClient(std::chrono::milliseconds perKey) : perKey(perKey) {}

    void bind(const platform::KeyPlanner::Binding& binding, platform::MediaTime now) {
        work(now);
        bound[binding.keycode] = binding.symbol;
    }
    std::optional<platform::Keysym> symbolOf(platform::Keycode keycode) const {
        const auto found = bound.find(keycode);
        return found == bound.end() ? std::nullopt : std::optional(found->second);
    }
    void unbindAll(platform::MediaTime now) {
        work(now);
        bound.clear();
    }
    void press(const platform::Stroke& stroke, platform::MediaTime now) {
        waiting.push_back({stroke.keycode, now});
    }

    /// Lets the client do what it gets done until `now`.
    void work(platform::MediaTime now) {
        while (!waiting.empty()) {
            const auto done = std::max(free, waiting.front().at) + perKey;
            if (done > now)
                return;
            free = done;
            const auto keycode = waiting.front().keycode;
            read.push_back(bound.contains(keycode) ? bound[keycode] : keycode);
            waiting.pop_front();
        }
    }

    std::vector<platform::Keysym> read;

private:
    struct Press {
        platform::Keycode keycode;
        platform::MediaTime at;
    };
    std::chrono::milliseconds perKey;
    std::map<platform::Keycode, platform::Keysym> bound;
    std::deque<Press> waiting;
    platform::MediaTime free;
};

} // namespace fuzz
