#pragma once

#include "platform/Clock.h"
#include "platform/x11/input/keyboard/InputDevices.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventHandlers.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>

namespace platform::x11 {

/// Notices when somebody else than this connection uses the desktop: a person at its devices, or a
/// program that passes on what another machine's keyboard does (XTEST). The server reports raw
/// input with the device it comes from, and what this connection made with the number of its
/// request. What resets the screen saver, as films do, makes no raw input.
///
/// Where the server does not report raw input (before XInput 2.1), it is asked now and then how
/// long the desktop has been idle. This tells neither keys from motion, nor people from resets.
///
/// Belongs to one thread, but for `secondsSinceInput`.
class PersonWatch {
public:
    /// Called on the thread when a person has done something; `pressed` unless it was only motion
    /// or a release.
    using Handler = std::function<void(bool pressed)>;

    PersonWatch(const Connection& connection, InputDevices devices, EventHandlers& handlers,
                Handler personActed);

    /// Everything up to this request comes from here.
    void made(std::uint32_t request);

    /// Asks the server where it does not report by itself. Returns when to call it again, if ever.
    std::optional<MediaTime> doWhatIsDue(MediaTime now);

    /// How long ago the last input by others was; infinite if there has been none. Callable from
    /// any thread.
    double secondsSinceInput() const;

private:
    void handle(const xcb_input_raw_button_press_event_t& raw, std::uint32_t request);
    void select(std::uint32_t rawEvents) const;
    void poll();
    std::optional<MediaTime> lastInputOfAnyKind() const;

    const Connection& connection;
    InputDevices devices;
    Handler personActed;
    std::optional<MediaTime> due; // the next poll, or the end of a rest from motion
    std::uint32_t lastRequest = 0;
    MediaTime lastMade;
    static constexpr MediaTime never{std::numeric_limits<std::int64_t>::min()};
    std::atomic<MediaTime> lastInput{never};
};

} // namespace platform::x11
