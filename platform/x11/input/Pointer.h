#pragma once

#include "platform/Events.h"
#include "platform/Wheel.h"
#include "platform/x11/server/Connection.h"

#include <bitset>
#include <cstdint>
#include <optional>

namespace platform::x11 {

/// The XTEST pointer, in the root window's coordinates, which run over all monitors. Each operation
/// returns when the server has carried it out; false if it cannot. Belongs to one thread.
class Pointer {
public:
    explicit Pointer(const Connection& connection) : connection(connection) {}

    bool moveTo(Point location);
    /// A button event has no place of its own, so the pointer goes there first if it is elsewhere;
    /// a motion right before a release would look like the end of a drag.
    bool button(MouseButton button, bool pressing, Point location);
    /// Positive pixels turn the wheels up and to the left.
    bool scroll(std::int32_t vertical, std::int32_t horizontal, Point location);

    /// Releases the buttons that are held down.
    void releaseAll();

private:
    struct Place {
        std::int16_t x = 0;
        std::int16_t y = 0;
        friend bool operator==(const Place&, const Place&) = default;
    };
    static Place placeAt(Point location);

    std::optional<Place> whereabouts() const;
    bool go(Place place);
    bool goUnlessThere(Place place);
    /// The button to press for what clients are to take for button `meant`: a left-handed person
    /// may have exchanged them, and the phone's are not the mouse's. No button changes its meaning
    /// while it is held (X11 protocol, SetPointerMapping).
    std::uint8_t behind(std::uint8_t meant) const;
    void setButton(std::uint8_t button, bool pressing);
    void turnWheel(std::int64_t clicks, std::uint8_t forwards, std::uint8_t backwards);

    const Connection& connection;
    Place asked;  // of the server last
    Place landed; // where the pointer came to be: no further than its screens reach
    Wheel vertical;
    Wheel horizontal;
    std::bitset<256> down; // buttons pressed by this object
};

} // namespace platform::x11
