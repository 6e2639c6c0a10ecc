#include "platform/x11/input/Pointer.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace platform::x11 {
namespace {

// Buttons as X clients understand them.
constexpr std::uint8_t leftButton = 1;
constexpr std::uint8_t middleButton = 2;
constexpr std::uint8_t rightButton = 3;
constexpr std::uint8_t wheelUp = 4;
constexpr std::uint8_t wheelDown = 5;
constexpr std::uint8_t wheelLeft = 6;
constexpr std::uint8_t wheelRight = 7;

std::uint8_t numberOf(MouseButton button) {
    switch (button) {
    case MouseButton::right:
        return rightButton;
    case MouseButton::center:
        return middleButton;
    case MouseButton::left:
        break;
    }
    return leftButton;
}

std::int16_t coordinate(double value) {
    using Limits = std::numeric_limits<std::int16_t>;
    return static_cast<std::int16_t>(
        std::lround(std::clamp<double>(value, Limits::min(), Limits::max())));
}

} // namespace

Pointer::Pointer(const Connection& connection, EventHandlers& handlers) : connection(connection) {
    // Somebody may have exchanged the buttons' meanings.
    handlers.on(event::mappingNotify, [this](const auto&) { meanings.reset(); });
}

Pointer::Place Pointer::placeAt(Point location) {
    return {coordinate(location.x), coordinate(location.y)};
}

void Pointer::perform(const MouseEvent& event) {
    const auto where = placeAt(event.location);
    switch (event.type) {
    case MouseEventType::leftDown:
    case MouseEventType::rightDown:
    case MouseEventType::otherDown:
        return button(event.button, true, where);
    case MouseEventType::leftUp:
    case MouseEventType::rightUp:
    case MouseEventType::otherUp:
        return button(event.button, false, where);
    default:
        go(where);
    }
}

void Pointer::perform(const ScrollWheelEvent& event) {
    const auto upwards = vertical.turn(event.wheel1);
    const auto leftwards = horizontal.turn(event.wheel2);
    if (upwards == 0 && leftwards == 0)
        return;
    goUnlessThere(placeAt(event.location));
    turnWheel(upwards, wheelUp, wheelDown);
    turnWheel(leftwards, wheelLeft, wheelRight);
}

bool Pointer::releaseAll() {
    if (down.none())
        return false;
    for (unsigned button = 0; button < down.size(); ++button)
        if (down[button])
            setButton(static_cast<std::uint8_t>(button), false);
    return true;
}

void Pointer::button(MouseButton button, bool pressing, Place where) {
    const auto number = physical(numberOf(button));
    if (!pressing && !down[number])
        return; // A person has taken it over.
    goUnlessThere(where);
    setButton(number, pressing);
}

void Pointer::goUnlessThere(Place wanted) {
    if (place == wanted)
        return;
    const auto present = reply(connection, xcb_query_pointer_reply,
                               xcb_query_pointer(connection, connection.root()));
    if (present && Place{present->root_x, present->root_y} == wanted)
        place = wanted;
    else
        go(wanted);
}

void Pointer::go(Place wanted) {
    xcb_test_fake_input(connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, connection.root(),
                        wanted.x, wanted.y, 0);
    place = wanted;
}

std::uint8_t Pointer::physical(std::uint8_t logical) {
    if (!meanings) {
        meanings.emplace();
        if (const auto answer = reply(connection, xcb_get_pointer_mapping_reply,
                                      xcb_get_pointer_mapping(connection))) {
            const auto* const map = xcb_get_pointer_mapping_map(answer.get());
            meanings->assign(map, map + answer->map_len);
        }
    }
    const auto found = std::ranges::find(*meanings, logical);
    return found == meanings->end() ? logical
                                    : static_cast<std::uint8_t>(found - meanings->begin() + 1);
}

void Pointer::setButton(std::uint8_t physical, bool pressing) {
    xcb_test_fake_input(connection, pressing ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, physical,
                        XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    down[physical] = pressing;
}

void Pointer::turnWheel(std::int64_t clicks, std::uint8_t forwards, std::uint8_t backwards) {
    if (clicks == 0)
        return;
    const auto button = physical(clicks > 0 ? forwards : backwards);
    for (auto left = std::abs(clicks); left > 0; --left) {
        setButton(button, true);
        setButton(button, false);
    }
}

} // namespace platform::x11
