#pragma once

#include "platform/Clock.h"
#include "platform/x11/capture/MonitorFrame.h"
#include "platform/x11/capture/exclusion/Backdrop.h"
#include "platform/x11/capture/exclusion/DrawingWatch.h"
#include "platform/x11/capture/exclusion/ExcludedWindows.h"
#include "platform/x11/server/EventHandlers.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform::x11 {

/// Keeps the windows of some applications out of a monitor's frames. An area where one is, or was
/// and may still be seen, is never taken from the screen. Behind a compositing manager, which has
/// the server keep every window's contents, it is drawn anew from the other windows; elsewhere it
/// is covered with a flat colour.
///
/// An area that a window has left stays excluded until the server tells of something being drawn
/// there; behind a compositing manager, which may let the window fade out, until some time later
/// the screen shows what lies behind.
class Exclusion {
public:
    /// Like ExcludedWindows. `handlers` gets all events of the connection.
    Exclusion(const Connection& connection, EventHandlers& handlers,
              std::vector<std::string> applications);

    /// Whether this monitor must be brought up to date by `refresh` for now.
    bool isNeeded(const Area& monitor) const;
    /// Whether `refresh` would change the frame of this monitor by itself.
    bool hasNews(const Area& monitor) const;

    /// Says that the next frame has nothing in common with the one before.
    void startOver();
    /// Brings the frame up to date where blocks are damaged and in the excluded areas, and marks
    /// the dirty blocks. `readEvents` handles all events that have arrived. Returns false if the
    /// server did not give the pixels.
    bool refresh(MonitorFrame& frame, picture::BlockMap& damaged, picture::BlockMap& dirty,
                 const std::function<void()>& readEvents);

private:
    template<class Event>
    void follow(EventHandlers& handlers, const EventType<Event>& type);
    void noteWindows(bool moved);
    void noteDrawing(const Area& drawn);
    void updateExcluded();
    std::vector<Area> areasIn(const Area& monitor) const;
    std::vector<Area> unpaintedAreas() const;
    void watchScreen();
    bool refreshAsKnown(MonitorFrame& frame, picture::BlockMap& damaged, picture::BlockMap& dirty);
    bool recompose(MonitorFrame& frame, const Area& area, picture::BlockMap& dirty);
    void releaseCleanAreas(MonitorFrame& frame);

    const Connection& connection;
    ExcludedWindows windows;
    // In root coordinates, each without overlaps:
    std::vector<Area> abandoned; ///< Left by windows, and not drawn on since.
    std::vector<Area> redrawn;   ///< Drawn on since they were left, perhaps by a window fading out.
    std::vector<Area> excluded;  ///< Where windows are, `abandoned` and `redrawn`.
    std::vector<Area> visited;   ///< Where windows were since the last fetch began.
    MediaTime lastLeft;          ///< When a window left an area.
    std::unique_ptr<Backdrop> backdrop; ///< While areas are excluded behind a compositor.
    std::optional<DrawingWatch> screen; ///< While areas are excluded.
    std::vector<Area> replaced;         ///< By the last `refresh`, in the frame's coordinates.
    bool backdropChanged = false;       ///< What is to be seen in the excluded areas.
    bool screenChanged = false;         ///< What the screen shows in areas that were left.
    std::vector<Area> areas;            // scratch
};

} // namespace platform::x11
