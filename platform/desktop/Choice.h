#pragma once

namespace platform::desktop {

/// Which of the two desktops this process serves, for good: an X server of its own that DISPLAY
/// names comes first; else a compositor that WAYLAND_DISPLAY names, if it offers what it takes. An
/// X server that only draws on a Wayland desktop does not count, nor do the session's own words
/// for its kind. Without either it is X11, which then has no displays and permits nothing, or says
/// so of its guest. Asked for the first time, it looks; callable from any thread.
bool isWayland();

} // namespace platform::desktop
