#pragma once

#include "platform/Wheel.h"
#include "platform/decisions/PointerDevice.h"
#include "platform/wayland/server/Connection.h"
#include "platform/wayland/server/Outputs.h"

#include <wlr-virtual-pointer-unstable-v1-client-protocol.h>

#include <cstdint>
#include <optional>
#include <set>

namespace platform::wayland {

template<>
inline void destroy(zwlr_virtual_pointer_manager_v1* proxy) {
    zwlr_virtual_pointer_manager_v1_destroy(proxy);
}
template<>
inline void destroy(zwlr_virtual_pointer_v1* proxy) {
    zwlr_virtual_pointer_v1_destroy(proxy);
}

/// A pointer of this program's own on a seat (wlr-virtual-pointer-unstable-v1). Belongs to the
/// connection's thread.
class VirtualPointer final : public PointerDevice {
public:
    static bool isOfferedBy(const Connection& connection);
    /// `outputs` say where places are; they, the seat and the connection outlive the object.
    VirtualPointer(const Connection& connection, wl_seat* seat, const Outputs& outputs);

    void perform(const MouseEvent& event) override;
    void perform(const ScrollWheelEvent& event) override;
    void mayHaveMoved() override { location.reset(); }
    /// The compositor keeps them down when the pointer is gone.
    bool releaseAll() override;

private:
    void button(MouseButton button, bool pressing, Point place);
    void goUnlessThere(Point place);
    void go(Point place);
    void setButton(std::uint32_t code, bool pressing);
    void turnWheel(std::uint32_t axis, int clicks);

    const Outputs& outputs;
    Owned<zwlr_virtual_pointer_v1> proxy;
    std::optional<Point> location; // where it is, if nobody else has moved it
    std::set<std::uint32_t> down;  // buttons, by the kernel's numbers
    Wheel vertical;
    Wheel horizontal;
};

} // namespace platform::wayland
