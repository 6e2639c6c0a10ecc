#pragma once

#include "platform/Clock.h"
#include "platform/decisions/InputQueue.h"

#include <algorithm>
#include <chrono>

namespace platform::wayland {

/// Keeps keys from running over the socket of the client that gets them: the compositor disconnects
/// a client that does not read, which is the end of most programs. Pure.
class KeyFlow {
public:
    /// How fast the next keys may follow each other.
    InputQueue::Pace pace(MediaTime now) const {
        using namespace std::chrono_literals;
        // The compositor puts what comes in one message into one message, and sockets take few.
        constexpr std::size_t maxKeysAtOnce = 80;
        return {maxKeysAtOnce, unread(now) < burst ? 1ms : 4ms};
    }
    void typed(std::size_t keys, MediaTime now) {
        keysUnread = unread(now) + static_cast<double>(keys);
        typedAt = now;
    }

private:
    /// Clients that are slow take about so many keys a second, and have room for so many more.
    static constexpr double slowClient = 250;
    static constexpr double burst = 2000;

    double unread(MediaTime now) const {
        const std::chrono::duration<double> passed = now - typedAt;
        return std::max(keysUnread - passed.count() * slowClient, 0.0);
    }

    double keysUnread = 0; // by a slow client, at this time:
    MediaTime typedAt;
};

} // namespace platform::wayland
