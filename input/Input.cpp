#include "input/Input.h"

#include "app/host/ControlMessages.h"
#include "app/host/HostChannel.h"
#include "input/Keys.h"
#include "input/LocalUse.h"
#include "platform/Letterbox.h"
#include "platform/Permissions.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <utility>

namespace orvel {
namespace {

using platform::MouseButton;
using platform::MouseEventType;

struct ButtonEvents {
    MouseButton button;
    MouseEventType down;
    MouseEventType up;
    MouseEventType dragged;
};

constexpr ButtonEvents leftButton{MouseButton::left, MouseEventType::leftDown,
                                  MouseEventType::leftUp, MouseEventType::leftDragged};
constexpr ButtonEvents rightButton{MouseButton::right, MouseEventType::rightDown,
                                   MouseEventType::rightUp, MouseEventType::rightDragged};
constexpr ButtonEvents middleButton{MouseButton::center, MouseEventType::otherDown,
                                    MouseEventType::otherUp, MouseEventType::otherDragged};

const ButtonEvents& eventsOf(const std::string& button) {
    if (button == "right")
        return rightButton;
    return button == "middle" ? middleButton : leftButton;
}

using Phases = std::unordered_map<std::string, std::int64_t>;

const Phases& scrollPhase() {
    static const Phases table{{"began", 1}, {"changed", 2}, {"ended", 4}, {"cancelled", 8}};
    return table;
}

const Phases& momentumPhase() {
    static const Phases table{{"begin", 1}, {"continue", 2}, {"end", 3}};
    return table;
}

std::optional<std::int64_t> phase(const Phases& table, const std::optional<std::string>& name) {
    if (!name)
        return std::nullopt;
    const auto found = table.find(*name);
    return found == table.end() ? std::nullopt : std::optional(found->second);
}

/// A wheel turns against the direction in which the contents are to move.
std::int32_t wheel(double pixels) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<double>(-std::round(pixels), Limits::min(), Limits::max()));
}

std::string buttonOf(const nlohmann::json& message) {
    return stringField(message, "b").value_or("left");
}

struct Side {
    double begin;
    double length;
};

/// Where a fraction of the frame's side is on the desktop. Black bars belong to the display's edge.
double pointAlong(Side frame, Side display, double fraction) {
    const double point = frame.begin + fraction * (frame.length - 1);
    return frame.length > display.length
               ? std::clamp(point, display.begin, display.begin + display.length - 1)
               : point;
}

/// Infinite for what has never been.
double secondsSince(const std::optional<platform::MediaTime>& time) {
    if (!time)
        return std::numeric_limits<double>::infinity();
    return std::chrono::duration<double>(platform::hostTime() - *time).count();
}

} // namespace

Input::Input(Display shown)
    : display(std::move(shown)),
      bounds(display.bounds),
      source(platform::EventSource::create()) {}

void Input::handle(const nlohmann::json& message) {
    const auto type = messageType(message);
    if (!type || !mayPost())
        return;
    if (source)
        source->yieldToPeople(phoneFirst ? std::numeric_limits<double>::infinity()
                                         : LocalUse::echo);
    if (personAtMachine())
        return;
    dispatch(*type, message);
    if (source)
        source->flush();
}

void Input::finish(std::chrono::milliseconds limit) {
    if (source)
        source->finish(limit);
}

bool Input::mayPost() {
    if (platform::preflightPostEventAccess())
        return true;
    if (!std::exchange(warnedAccess, true))
        problem("input_permission",
                "Allow Orvel Companion under Accessibility in System Settings on this Mac.");
    return false;
}

bool Input::personAtMachine() {
    const auto sincePosted = secondsSince(lastPosted);
    if (!source ||
        !LocalUse::ignoresPhone(source->secondsSinceLastInput(), sincePosted, phoneFirst))
        return false;
    if (LocalUse::warns(secondsSince(warnedLocal))) {
        warnedLocal = platform::hostTime();
        problem("local_input", "Someone is using this Mac, so it ignores the phone for a moment.");
    }
    return true;
}

void Input::dispatch(const std::string& type, const nlohmann::json& message) {
    if (type == "move") {
        move(message);
    } else if (type == "down") {
        const auto button = buttonOf(message);
        held.insert(button);
        press(button, true);
    } else if (type == "up") {
        const auto button = buttonOf(message);
        held.erase(button);
        press(button, false);
    } else if (type == "click") {
        click(message);
    } else if (type == "scroll") {
        scroll(message);
    } else if (type == "press") {
        if (const auto key = stringField(message, "k"))
            for (auto& event : Keys::key(*key, stringsField(message, "mods")))
                post(std::move(event));
    } else if (type == "text") {
        if (const auto text = stringField(message, "s"))
            for (auto& event : Keys::type(*text, 0))
                post(std::move(event));
    }
}

void Input::move(const nlohmann::json& message) {
    aim = {numberField(message, "x").value_or(0.5), numberField(message, "y").value_or(0.5)};
    post(movement());
}

platform::Point Input::point() {
    // A monitor that is off for a moment is where it was.
    if (const auto now = platform::displayBounds(display.id); now.width > 0 && now.height > 0)
        bounds = now;
    if (!aim)
        return {bounds.midX(), bounds.midY()};
    const auto frame = platform::framedRect(bounds, display.bounds);
    return {pointAlong({frame.x, frame.width}, {bounds.x, bounds.width}, aim->x),
            pointAlong({frame.y, frame.height}, {bounds.y, bounds.height}, aim->y)};
}

platform::MouseEvent Input::movement() {
    for (const auto* button : {"left", "right", "middle"})
        if (held.contains(button))
            return {eventsOf(button).dragged, point(), eventsOf(button).button, {}};
    return {MouseEventType::moved, point(), MouseButton::left, {}};
}

void Input::click(const nlohmann::json& message) {
    const auto button = buttonOf(message);
    const auto clicks = std::clamp<std::int64_t>(integerField(message, "n").value_or(1), 1, 3);
    press(button, true, clicks);
    press(button, false, clicks);
}

void Input::press(const std::string& button, bool down, std::int64_t clicks) {
    const auto& events = eventsOf(button);
    post(platform::MouseEvent{down ? events.down : events.up, point(), events.button, clicks});
}

void Input::scroll(const nlohmann::json& message) {
    post(platform::ScrollWheelEvent{
        .wheel1 = wheel(numberField(message, "dy").value_or(0)),
        .wheel2 = wheel(numberField(message, "dx").value_or(0)),
        .location = point(),
        .continuous = 1,
        .scrollPhase = phase(scrollPhase(), stringField(message, "ph")),
        .momentumPhase = phase(momentumPhase(), stringField(message, "mo")),
    });
}

template<class Event>
void Input::post(Event event) {
    if (source && source->post(std::move(event)))
        lastPosted = platform::hostTime();
}

} // namespace orvel
