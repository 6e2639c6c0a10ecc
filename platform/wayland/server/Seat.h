#pragma once

#include "platform/wayland/server/Connection.h"

namespace platform::wayland {

template<>
inline void destroy(wl_seat* proxy) {
    wl_seat_destroy(proxy);
}

} // namespace platform::wayland
