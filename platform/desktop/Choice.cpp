#include "platform/desktop/Choice.h"

#include "platform/wayland/server/Screens.h"
#include "platform/x11/server/Screens.h"

namespace platform::desktop {

bool isWayland() {
    static const bool chosen = !x11::isOwnDesktop() && wayland::isServed();
    return chosen;
}

} // namespace platform::desktop
