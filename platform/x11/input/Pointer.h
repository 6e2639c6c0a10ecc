#pragma once

#include "platform/Wheel.h"
#include "platform/decisions/PointerDevice.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventHandlers.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <vector>

namespace platform::x11 {

/// The XTEST pointer, in the root window's coordinates, which run over all monitors. Belongs to one
/// thread.
class Pointer final : public PointerDevice {
public:
    Pointer(const Connection& connection, EventHandlers& handlers);

    void perform(const MouseEvent& event) override;
    void perform(const ScrollWheelEvent& event) override;
    void mayHaveMoved() override { place.reset(); }
    bool releaseAll() override;

private:
    struct Place {
        std::int16_t x = 0;
        std::int16_t y = 0;
        friend bool operator==(const Place&, const Place&) = default;
    };
    static Place placeAt(Point location);

    void button(MouseButton button, bool pressing, Place where);
    void goUnlessThere(Place wanted);
    void go(Place wanted);
    /// The physical button to press for what clients are to take for the logical one: a left-handed
    /// person may have exchanged them, and the phone's are not the mouse's. No button changes its
    /// meaning while it is held (X11 protocol, SetPointerMapping).
    std::uint8_t physical(std::uint8_t logical);
    void setButton(std::uint8_t physical, bool pressing);
    void turnWheel(std::int64_t clicks, std::uint8_t forwards, std::uint8_t backwards);

    const Connection& connection;
    std::optional<Place> place;                        // unless others may have moved it
    std::optional<std::vector<std::uint8_t>> meanings; // of the physical buttons, from 1
    Wheel vertical;
    Wheel horizontal;
    std::bitset<256> down; // physical buttons pressed by this object
};

} // namespace platform::x11
