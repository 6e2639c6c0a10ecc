#pragma once

#include "platform/picture/Area.h"
#include "platform/x11/server/Connection.h"

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <memory>
#include <vector>

namespace platform::x11 {

/// Tells where the desktop was drawn on (DAMAGE on the root window). The server says once that
/// there is something; it is quiet again until that was fetched.
class DamageWatch {
public:
    /// Nothing if the server lacks the extensions. The connection outlives the object.
    static std::unique_ptr<DamageWatch> create(const Connection& connection);

    /// Takes note of an event of the connection.
    void handle(const xcb_generic_event_t& event);
    /// Whether there is anything to fetch.
    bool stirred() const { return news; }

    /// Asks for what was drawn on, and has the server start afresh: what is drawn from now on will
    /// be news again, so pictures must be fetched after this.
    void ask();
    /// Waits for what `ask` asked for: fills `areas`, in root coordinates. Few if anything was
    /// drawn that is small; thousands of them are possible.
    void answer(std::vector<picture::Area>& areas);

private:
    explicit DamageWatch(const Connection& connection);

    const Connection& connection;
    xcb_damage_damage_t damage;
    xcb_xfixes_region_t parts;
    xcb_xfixes_fetch_region_cookie_t asked{};
    bool news = false;
};

} // namespace platform::x11
