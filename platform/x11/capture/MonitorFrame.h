#pragma once

#include "platform/PixelBuffer.h"
#include "platform/picture/BlockMap.h"
#include "platform/picture/PixelLayout.h"
#include "platform/x11/capture/SharedMemory.h"
#include "platform/x11/server/Connection.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace platform::x11 {

/// The frame of a monitor as it was when last looked at, in bgra, whatever the server's pixels are
/// like.
class MonitorFrame {
public:
    /// How many areas to ask for at one time. Each costs the server something beside its pixels,
    /// and what was drawn on can be thousands of them.
    static constexpr std::size_t maxAreas = 64;

    /// `place` is in root coordinates. The connection outlives the object. The server's pixels have
    /// a layout that can be read. Throws std::bad_alloc.
    MonitorFrame(const Connection& connection, Area place);

    const Area& place() const { return monitor; }
    Area whole() const { return {0, 0, monitor.width, monitor.height}; }
    /// The pixels; whoever draws in them takes it out again.
    MutableFrameView view();

    /// Fetches some areas of the frame anew, which don't overlap, all in one round trip, and marks
    /// the dirty blocks. Returns false if the server did not give them; the frame is as it was
    /// then.
    bool refresh(std::span<const Area> areas, picture::BlockMap& dirty);
    /// Whether the screen shows in this area what the frame does. Returns false if the server does
    /// not say.
    bool isAsOnScreen(const Area& area);
    /// Takes one area from a pixmap of the root's depth, whose origin is at the area's.
    bool refreshFrom(xcb_pixmap_t pixmap, const Area& area, picture::BlockMap& dirty);

private:
    bool refresh(xcb_drawable_t drawable, int originX, int originY, std::span<const Area> areas,
                 picture::BlockMap& dirty);
    bool refreshShared(xcb_drawable_t drawable, int originX, int originY,
                       std::span<const Area> areas, picture::BlockMap& dirty);
    bool refreshCopied(xcb_drawable_t drawable, int originX, int originY,
                       std::span<const Area> areas, picture::BlockMap& dirty);
    const std::uint8_t* inBGRA(const std::uint8_t* fresh, const Area& area);
    void take(const std::uint8_t* fresh, const Area& area, picture::BlockMap& dirty);

    const Connection& connection;
    Area monitor;
    picture::PixelLayout layout;
    std::size_t size;                     // of one frame in bytes
    std::unique_ptr<SharedMemory> shared; // room for two frames
    std::vector<std::uint8_t> own;        // room for one, where nothing can be shared
    std::uint8_t* pixels;                 // of the frame
    std::uint8_t* arriving;               // what the server writes; nullptr if nothing is shared
    std::vector<xcb_shm_get_image_cookie_t> asked;
    std::vector<std::uint8_t> convertedArea; // scratch, where the server's pixels are no bgra
};

} // namespace platform::x11
