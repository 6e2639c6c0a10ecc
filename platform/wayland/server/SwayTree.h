#pragma once

#include "platform/Screens.h"
#include "platform/wayland/server/Connection.h"

#include <optional>
#include <string>
#include <vector>

/// What only sway tells of its windows, over a socket of its own that SWAYSOCK names. It is asked
/// only if it is the compositor of this connection; it answers in its event loop as it does there,
/// and is waited for no longer than a second for each part of the answer. nullopt stands for any
/// other compositor, and for an answer that can't be understood.
namespace platform::wayland {

/// What is shown of a window.
struct WindowPlace {
    /// In points of the desktop's coordinate space, with the bar of titles over the window; only
    /// this bar if another window of the same tabs or stack is in front. Empty if there is nothing.
    Rect area;
    /// Whether its menus and the like may be shown anywhere around: sway shows those of the window
    /// that has the focus, and X clients' always.
    bool mayHavePopups = false;

    friend bool operator==(const WindowPlace&, const WindowPlace&) = default;
};

/// The places of all windows of these applications (by app id, or by class or instance for X
/// clients).
///
/// The compositor answers with what it is about to show: it may go on showing a window where it was
/// until the clients concerned are ready, for a fifth of a second by default.
std::optional<std::vector<WindowPlace>> placesInSway(const Connection& connection,
                                                     const std::vector<std::string>& applications);

/// Whether the window that has the keyboard's focus is an X client's.
std::optional<bool> xClientHasFocusInSway(const Connection& connection);

} // namespace platform::wayland
