#pragma once

#include "platform/x11/capture/MonitorPicture.h"
#include "platform/x11/capture/exclusion/Backdrop.h"
#include "platform/x11/capture/exclusion/ExcludedWindows.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform::x11 {

/// Nobody but this connection gets anything done by the server while it lives.
class ServerGrab {
public:
    /// When it returns, every event of what happened before is there to be read.
    explicit ServerGrab(const Connection& connection);
    ~ServerGrab();
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;

private:
    const Connection& connection;
};

/// Keeps the windows of some applications out of a monitor's picture. Where they are, the picture
/// is not taken from the screen at all but drawn anew from the other windows.
class Exclusion {
public:
    /// Like ExcludedWindows.
    Exclusion(const Connection& connection, std::vector<std::string> applications)
        : connection(connection),
          windows(connection, std::move(applications)) {}

    /// Takes note of an event of the connection.
    void handle(const xcb_generic_event_t& event);
    /// Whether the picture of this monitor must be taken by `refresh` for now.
    bool concerns(const Area& monitor, MediaTime now) const;
    /// Whether events should be handled as soon as they come.
    bool watches() const { return backdrop != nullptr; }
    /// Whether `refresh` would find something new.
    bool stirred(const Area& monitor, MediaTime now) const;
    /// When it will by itself.
    std::optional<MediaTime> nextChange(MediaTime now) const;

    /// Says that the next picture has nothing in common with the one before.
    void startOver() { stale = true; }
    /// Brings the picture up to date where blocks are pending, and where the windows are; says in
    /// `changed` what became different. False if the server did not give it. To be called while
    /// the server is grabbed and all events are handled.
    bool refresh(MonitorPicture& picture, picture::BlockMap& pending, picture::BlockMap& changed,
                 MediaTime now);

private:
    std::vector<Area> holesIn(const Area& monitor, MediaTime now) const;
    bool fillHole(MonitorPicture& picture, const Area& hole, picture::BlockMap& changed);

    const Connection& connection;
    ExcludedWindows windows;
    std::unique_ptr<Backdrop> backdrop; // while there are holes
    std::vector<Area> holes;            // of the last `refresh`, in the picture's coordinates
    bool stale = false;                 // what is in the holes
    std::vector<Area> areas;            // scratch
};

} // namespace platform::x11
