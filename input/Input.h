#pragma once

#include "app/host/Displays.h"
#include "platform/Clock.h"
#include "platform/Events.h"

#include <nlohmann/json_fwd.hpp>

#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace orvel {

/// Turns the phone's pointer, key and text messages into input events on this machine, and stands
/// back while somebody uses it in person. Belongs to the main queue.
class Input {
public:
    /// The phone points at places in the frames of this display, wherever that is by now.
    explicit Input(Display display);

    /// Carries out one message, in the order of arrival. What is malformed takes its default or
    /// does nothing.
    ///
    ///     move   x, y      fractions of the frame's size (0.5); drags while a button is down
    ///     down   b         "left", "right", "middle" ("left")
    ///     up     b
    ///     click  b, n      the n-th click of several, 1 to 3 (1)
    ///     scroll dx, dy, ph, mo   pixels (0), phase of the gesture and of its momentum
    ///     press  k, mods   see Keys
    ///     text   s
    void handle(const nlohmann::json& message);

    /// Waits until what was handled has arrived, no longer than `limit`: a text takes its time.
    void finish(std::chrono::milliseconds limit);

    /// The phone has priority over people at the machine.
    bool phoneFirst = false;

private:
    /// Whether events may be posted. If not, the first call reports so.
    bool mayPost();
    /// Whether a person uses the machine now. If so, reports it, but not too often.
    bool personAtMachine();
    void dispatch(const std::string& type, const nlohmann::json& message);

    void move(const nlohmann::json& message);
    /// Where on the desktop the phone points now.
    platform::Point point();
    void click(const nlohmann::json& message);
    void scroll(const nlohmann::json& message);
    void press(const std::string& button, bool down, std::int64_t clicks = 1);
    /// The pointer's move to `point`: a drag if a button is held.
    platform::MouseEvent movement();

    template<class Event>
    void post(Event event);

    const Display display;
    platform::Rect bounds; // of the display as it was seen last
    std::unique_ptr<platform::EventSource> source;
    std::optional<platform::Point> aim; // in fractions of the frame, by "move"
    std::set<std::string> held;         // by "down" until "up", as the phone spells it
    std::optional<platform::MediaTime> lastPosted;
    bool warnedAccess = false;
    std::optional<platform::MediaTime> warnedLocal;
};

} // namespace orvel
