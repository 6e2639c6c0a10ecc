#pragma once

#include "platform/x11/input/keyboard/InputDevices.h"
#include "platform/x11/server/Connection.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <set>

namespace platform::x11 {

/// Notices when somebody else than this connection uses the desktop: a person at its devices, or a
/// program that passes on what another machine's keyboard does (XTEST). The server reports raw
/// input with the device it comes from, and what this connection made with the number of its
/// request. What resets the screen saver, as films do, makes no raw input. Belongs to one thread,
/// but for `secondsSinceInput`.
class PersonWatch {
public:
    using Clock = std::chrono::steady_clock;
    enum class Input { none, moved, pressed };

    PersonWatch(const Connection& connection, const InputDevices& devices);

    /// What a person has done with this event.
    Input handle(const xcb_generic_event_t& event);
    /// Everything up to this request comes from here.
    void made(std::uint32_t request);

    /// Where raw input is not reported, the server has to be asked now and then. It then does not
    /// tell keys from motion, nor people from resets of the screen saver.
    static constexpr std::chrono::milliseconds pollInterval{250};
    bool needsPolling() const { return !devices.reported; }
    Input poll();

    /// Since the last input by others; infinite if there has been none. Callable from any thread.
    double secondsSinceInput() const;

private:
    std::optional<Clock::time_point> lastInputOfAnyKind() const;
    void note(Clock::time_point time) { last = time.time_since_epoch().count(); }

    const Connection& connection;
    InputDevices devices;
    std::uint8_t opcode; // of XInput2's events
    std::uint32_t lastRequest = 0;
    Clock::time_point lastMade{};
    static constexpr Clock::rep never = Clock::time_point::min().time_since_epoch().count();
    std::atomic<Clock::rep> last{never};
};

} // namespace platform::x11
