#pragma once

#include "platform/Area.h"
#include "platform/Screens.h"

#include <algorithm>
#include <cmath>

/// The frames of a stream keep the shape that their display had when it began. Once the display has
/// another one, after a rotation for instance, they show it as large as it fits, in the middle,
/// between two black bars. Pure arithmetic for those who make frames and those who point at them.
namespace platform {

/// The part of a frame, whose sides are even, that shows a display of this size. Its edges are
/// even, and the bars beside it equally wide.
inline Area shownPart(int displayWidth, int displayHeight, int frameWidth, int frameHeight) {
    const double widthOfFullHeight = 1.0 * displayWidth * frameHeight / displayHeight;
    const double heightOfFullWidth = 1.0 * displayHeight * frameWidth / displayWidth;
    // A frame's sides are rounded down to even numbers, so that the display which it was made for
    // may miss one of them by less than two pixels.
    if (std::abs(widthOfFullHeight - frameWidth) < 2 ||
        std::abs(heightOfFullWidth - frameHeight) < 2)
        return {0, 0, frameWidth, frameHeight};
    const auto bar = [](double shown, int side) {
        return std::min(2 * static_cast<int>(std::lround((side - shown) / 4)), (side - 2) / 4 * 2);
    };
    if (widthOfFullHeight < frameWidth) {
        const int x = bar(widthOfFullHeight, frameWidth);
        return {x, 0, frameWidth - 2 * x, frameHeight};
    }
    const int y = bar(heightOfFullWidth, frameHeight);
    return {0, y, frameWidth, frameHeight - 2 * y};
}

/// What the whole frame would show around a display if there were no bars: the smallest rectangle
/// of the shape `then`, the display's when the stream began, with the display in its middle.
inline Rect framedRect(const Rect& display, const Rect& then) {
    if (then.width <= 0 || then.height <= 0)
        return display;
    const bool isWider = display.width * then.height >= then.width * display.height;
    const double width = isWider ? display.width : then.width * display.height / then.height;
    const double height = isWider ? then.height * display.width / then.width : display.height;
    return {display.midX() - width / 2, display.midY() - height / 2, width, height};
}

} // namespace platform
