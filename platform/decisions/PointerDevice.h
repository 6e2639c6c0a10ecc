#pragma once

#include "platform/Events.h"

namespace platform {

/// A pointer of this program's own on a desktop. Belongs to one thread.
class PointerDevice {
public:
    PointerDevice() = default;
    virtual ~PointerDevice() = default;
    PointerDevice(const PointerDevice&) = delete;
    PointerDevice& operator=(const PointerDevice&) = delete;

    /// A button acts at the place of its event: the pointer goes there first if it is elsewhere. A
    /// motion right before a release would look like the end of a drag.
    virtual void perform(const MouseEvent& event) = 0;
    virtual void perform(const ScrollWheelEvent& event) = 0;

    /// From now on others may have moved the pointer.
    virtual void mayHaveMoved() = 0;
    /// Releases the buttons that are held down. Returns false if there are none.
    virtual bool releaseAll() = 0;
};

} // namespace platform
