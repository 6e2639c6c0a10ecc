#pragma once

#include "platform/wayland/server/Connection.h"

#include <wlr-foreign-toplevel-management-unstable-v1-client-protocol.h>

#include <cstdint>
#include <list>
#include <set>
#include <string>
#include <vector>

namespace platform::wayland {

template<>
inline void destroy(zwlr_foreign_toplevel_manager_v1* proxy) {
    zwlr_foreign_toplevel_manager_v1_destroy(proxy);
}
template<>
inline void destroy(zwlr_foreign_toplevel_handle_v1* proxy) {
    zwlr_foreign_toplevel_handle_v1_destroy(proxy);
}

/// Knows of the windows of some applications on which outputs they are (wlr-foreign-toplevel), but
/// not where. The compositor tells of a window before it shows it, and when one gets the focus or
/// loses it. Belongs to the connection's thread.
class Toplevels {
public:
    /// The applications' identifiers. The connection outlives the object, and its compositor offers
    /// the protocol.
    Toplevels(const Connection& connection, std::vector<std::string> applications);

    /// Whether the applications have any window, and whether any is on this output.
    bool any() const;
    bool anyOn(wl_output* output) const;
    /// Another number whenever those answers, or which of the windows has the focus, may have
    /// changed, if only for a moment.
    std::uint64_t changes() const { return theirChanges; }
    /// The same for whether there is any window that an X client made under another name, which
    /// only the compositor knows.
    std::uint64_t changesOfAll() const { return allChanges; }

private:
    struct Window {
        Toplevels& all;
        Owned<zwlr_foreign_toplevel_handle_v1> proxy;
        bool isTheirs = false;
        bool hasFocus = false;
        std::set<wl_output*> outputs{};

        void named(const char* application);
        void entered(wl_output* output);
        void left(wl_output* output);
        void stated(wl_array* states);
        void closed();
        void changed() const;
    };
    void opened(zwlr_foreign_toplevel_handle_v1* proxy);

    const std::vector<std::string> applications;
    Owned<zwlr_foreign_toplevel_manager_v1> manager;
    std::list<Window> windows;
    std::uint64_t theirChanges = 0;
    std::uint64_t allChanges = 0;
};

} // namespace platform::wayland
