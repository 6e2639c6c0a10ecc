#pragma once

#include "platform/picture/Area.h"
#include "platform/x11/server/Connection.h"
#include "platform/x11/server/EventHandlers.h"

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <memory>
#include <vector>

namespace platform::x11 {

/// Tells where the desktop was drawn on (DAMAGE on the root window). The server says once that
/// there is damage, and nothing more until that was asked for.
class DamageWatch {
public:
    /// Returns nullptr if the server lacks the extensions. The connection outlives the object,
    /// and that outlives the use of `handlers`, which get all events of the connection.
    static std::unique_ptr<DamageWatch> create(const Connection& connection,
                                               EventHandlers& handlers);

    /// Whether there is damage to ask for.
    bool hasDamage() const { return damaged; }

    /// Asks for the damage, and has the server start afresh: what is drawn from now on will be told
    /// of again, so pixels must be fetched after this.
    void ask();
    /// Waits for what `ask` asked for: fills `areas`, in root coordinates. There can be thousands
    /// of them.
    void answer(std::vector<Area>& areas);

private:
    DamageWatch(const Connection& connection, EventHandlers& handlers);

    const Connection& connection;
    xcb_damage_damage_t damage;
    xcb_xfixes_region_t parts;
    xcb_xfixes_fetch_region_cookie_t asked{};
    bool damaged = false;
};

} // namespace platform::x11
