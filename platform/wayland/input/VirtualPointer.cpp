#include "platform/wayland/input/VirtualPointer.h"

#include "platform/Clock.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace platform::wayland {
namespace {

/// Places are told in steps of this part of a point.
constexpr double stepsOfPoint = 256;

std::uint32_t milliseconds() {
    return static_cast<std::uint32_t>(hostTime().nanoseconds / 1'000'000);
}

std::uint32_t codeOf(MouseButton button) {
    switch (button) {
    case MouseButton::right:
        return BTN_RIGHT;
    case MouseButton::center:
        return BTN_MIDDLE;
    default:
        return BTN_LEFT;
    }
}

/// The rectangle around all outputs, of which the compositor wants to hear parts.
Rect around(const std::vector<Output>& outputs) {
    double left = 0, top = 0, right = 0, bottom = 0;
    bool first = true;
    for (const auto& output : outputs) {
        const auto& [x, y, width, height] = output.bounds;
        left = first ? x : std::min(left, x);
        top = first ? y : std::min(top, y);
        right = first ? x + width : std::max(right, x + width);
        bottom = first ? y + height : std::max(bottom, y + height);
        first = false;
    }
    return {left, top, right - left, bottom - top};
}

} // namespace

bool VirtualPointer::isOfferedBy(const Connection& connection) {
    return connection.has(zwlr_virtual_pointer_manager_v1_interface);
}

VirtualPointer::VirtualPointer(const Connection& connection, wl_seat* seat, const Outputs& outputs)
    : outputs(outputs) {
    const auto manager =
        connection.bind<zwlr_virtual_pointer_manager_v1>(zwlr_virtual_pointer_manager_v1_interface);
    proxy.reset(zwlr_virtual_pointer_manager_v1_create_virtual_pointer(manager.get(), seat));
}

void VirtualPointer::perform(const MouseEvent& event) {
    switch (event.type) {
    case MouseEventType::leftDown:
    case MouseEventType::rightDown:
    case MouseEventType::otherDown:
        return button(event.button, true, event.location);
    case MouseEventType::leftUp:
    case MouseEventType::rightUp:
    case MouseEventType::otherUp:
        return button(event.button, false, event.location);
    default:
        go(event.location);
    }
}

void VirtualPointer::perform(const ScrollWheelEvent& event) {
    const int upwards = vertical.turn(event.wheel1);
    const int leftwards = horizontal.turn(event.wheel2);
    if (upwards == 0 && leftwards == 0)
        return;
    goUnlessThere(event.location);
    turnWheel(WL_POINTER_AXIS_VERTICAL_SCROLL, -upwards);
    turnWheel(WL_POINTER_AXIS_HORIZONTAL_SCROLL, -leftwards);
}

bool VirtualPointer::releaseAll() {
    if (down.empty())
        return false;
    while (!down.empty())
        setButton(*down.begin(), false);
    return true;
}

void VirtualPointer::button(MouseButton button, bool pressing, Point place) {
    const auto code = codeOf(button);
    if (!pressing && !down.contains(code))
        return; // A person has taken it over.
    goUnlessThere(place);
    setButton(code, pressing);
}

void VirtualPointer::goUnlessThere(Point place) {
    if (location != place)
        go(place);
}

void VirtualPointer::go(Point place) {
    const auto desktop = around(outputs.present());
    if (desktop.width <= 0 || desktop.height <= 0)
        return;
    const auto steps = [](double position, double length) {
        return static_cast<std::uint32_t>(
            std::lround(std::clamp(position, 0.0, length) * stepsOfPoint));
    };
    zwlr_virtual_pointer_v1_motion_absolute(
        proxy.get(), milliseconds(), steps(place.x - desktop.x, desktop.width),
        steps(place.y - desktop.y, desktop.height), steps(desktop.width, desktop.width),
        steps(desktop.height, desktop.height));
    zwlr_virtual_pointer_v1_frame(proxy.get());
    location = place;
}

void VirtualPointer::setButton(std::uint32_t code, bool pressing) {
    zwlr_virtual_pointer_v1_button(proxy.get(), milliseconds(), code,
                                   pressing ? WL_POINTER_BUTTON_STATE_PRESSED
                                            : WL_POINTER_BUTTON_STATE_RELEASED);
    zwlr_virtual_pointer_v1_frame(proxy.get());
    if (pressing)
        down.insert(code);
    else
        down.erase(code);
}

void VirtualPointer::turnWheel(std::uint32_t axis, int clicks) {
    constexpr int axisUnitsOfClick = 15; // as compositors make of a mouse's
    if (clicks == 0)
        return;
    zwlr_virtual_pointer_v1_axis_source(proxy.get(), WL_POINTER_AXIS_SOURCE_WHEEL);
    zwlr_virtual_pointer_v1_axis_discrete(proxy.get(), milliseconds(), axis,
                                          wl_fixed_from_int(clicks * axisUnitsOfClick), clicks);
    zwlr_virtual_pointer_v1_frame(proxy.get());
}

} // namespace platform::wayland
