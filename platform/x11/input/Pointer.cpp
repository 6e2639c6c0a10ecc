#include "platform/x11/input/Pointer.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

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

Pointer::Place Pointer::placeAt(Point location) {
    return {coordinate(location.x), coordinate(location.y)};
}

bool Pointer::moveTo(Point location) {
    return go(placeAt(location));
}

bool Pointer::button(MouseButton button, bool pressing, Point location) {
    if (!goUnlessThere(placeAt(location)))
        return false;
    setButton(behind(numberOf(button)), pressing);
    return roundTrip(connection);
}

bool Pointer::scroll(std::int32_t verticalPixels, std::int32_t horizontalPixels, Point location) {
    const auto upwards = vertical.turn(verticalPixels);
    const auto leftwards = horizontal.turn(horizontalPixels);
    if (upwards == 0 && leftwards == 0)
        return !connection.lost();
    if (!goUnlessThere(placeAt(location)))
        return false;
    turnWheel(upwards, wheelUp, wheelDown);
    turnWheel(leftwards, wheelLeft, wheelRight);
    return roundTrip(connection);
}

void Pointer::releaseAll() {
    for (unsigned button = 0; button < down.size(); ++button)
        if (down[button])
            setButton(static_cast<std::uint8_t>(button), false);
}

std::optional<Pointer::Place> Pointer::whereabouts() const {
    const auto answer = reply(connection, xcb_query_pointer_reply,
                              xcb_query_pointer(connection, connection.root()));
    if (!answer)
        return std::nullopt;
    return Place{answer->root_x, answer->root_y};
}

bool Pointer::go(Place place) {
    xcb_test_fake_input(connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, connection.root(),
                        place.x, place.y, 0);
    const auto reached = whereabouts();
    if (!reached)
        return false;
    asked = place;
    landed = *reached;
    return true;
}

bool Pointer::goUnlessThere(Place place) {
    const auto present = whereabouts();
    if (!present)
        return false;
    const bool isThere = *present == place || (place == asked && *present == landed);
    return isThere || go(place);
}

std::uint8_t Pointer::behind(std::uint8_t meant) const {
    const auto answer =
        reply(connection, xcb_get_pointer_mapping_reply, xcb_get_pointer_mapping(connection));
    if (!answer)
        return meant;
    const std::span meanings(xcb_get_pointer_mapping_map(answer.get()), answer->map_len);
    const auto found = std::ranges::find(meanings, meant);
    return found == meanings.end() ? meant
                                   : static_cast<std::uint8_t>(found - meanings.begin() + 1);
}

void Pointer::setButton(std::uint8_t button, bool pressing) {
    xcb_test_fake_input(connection, pressing ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, button,
                        XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    down[button] = pressing;
}

void Pointer::turnWheel(std::int64_t clicks, std::uint8_t forwards, std::uint8_t backwards) {
    if (clicks == 0)
        return;
    const auto button = behind(clicks > 0 ? forwards : backwards);
    for (auto left = std::abs(clicks); left > 0; --left) {
        setButton(button, true);
        setButton(button, false);
    }
}

} // namespace platform::x11
