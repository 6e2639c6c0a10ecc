#include "platform/wayland/server/Screens.h"

#include "platform/Mutex.h"
#include "platform/wayland/server/Outputs.h"

#include <virtual-keyboard-unstable-v1-client-protocol.h>
#include <wlr-foreign-toplevel-management-unstable-v1-client-protocol.h>
#include <wlr-screencopy-unstable-v1-client-protocol.h>
#include <wlr-virtual-pointer-unstable-v1-client-protocol.h>

#include <algorithm>
#include <memory>

namespace platform::wayland {
namespace {

/// Says when something was drawn, and where.
constexpr std::uint32_t screencopyVersion = 3;

/// The connection that questions share. It is opened by the first of them, and again after the
/// compositor was lost.
class Desktop {
public:
    std::vector<Output> outputs() {
        const MutexLock locked(lock);
        return follow() ? known->present() : std::vector<Output>{};
    }

    /// Whether the compositor offers everything that `needs(connection)` asks for.
    template<class Needs>
    bool offers(Needs needs) {
        const MutexLock locked(lock);
        return follow() && needs(*connection);
    }

private:
    /// Brings what is known up to date; waits for the compositor only if there is a new output, for
    /// these questions come with every event of the phone's. False if there is no compositor that
    /// can be used.
    bool follow() REQUIRES(lock) {
        if (known) {
            connection->dispatch();
            if (!connection->lost())
                return !known->update() || connection->roundTrip();
        }
        known.reset();
        connection = Connection::open();
        if (!connection || !Outputs::areOfferedBy(*connection))
            return false;
        known = std::make_unique<Outputs>(*connection);
        return connection->roundTrip();
    }

    Mutex lock;
    std::unique_ptr<Connection> connection GUARDED_BY(lock);
    std::unique_ptr<Outputs> known GUARDED_BY(lock); // on the connection, so it goes first
};

bool offersCopies(const Connection& connection) {
    return Outputs::areOfferedBy(connection) && connection.has(wl_shm_interface) &&
           connection.has(zwlr_screencopy_manager_v1_interface, screencopyVersion);
}

Desktop& desktop() {
    static Desktop shared;
    return shared;
}

std::optional<Output> outputWith(DisplayID display) {
    const auto present = desktop().outputs();
    const auto found = std::ranges::find(present, display, &Output::id);
    return found != present.end() ? std::optional(*found) : std::nullopt;
}

} // namespace

bool offersCapture(const Connection& connection) {
    return offersCopies(connection) && connection.has(zwlr_foreign_toplevel_manager_v1_interface);
}

bool isServed() {
    return desktop().offers(offersCopies);
}

std::vector<ActiveDisplay> activeDisplayList() {
    std::vector<ActiveDisplay> displays;
    for (const auto& output : desktop().outputs())
        displays.push_back({output.id, output.name, output.bounds, displays.empty()});
    return displays;
}

Rect displayBounds(DisplayID display) {
    const auto output = outputWith(display);
    return output ? output->bounds : Rect{};
}

std::optional<std::int64_t> displayPixelWidth(DisplayID display) {
    const auto output = outputWith(display);
    return output ? std::optional<std::int64_t>(output->pixelWidth()) : std::nullopt;
}

bool mayCaptureScreen() {
    return desktop().offers(offersCapture);
}

bool mayPostEvents() {
    return desktop().offers([](const Connection& connection) {
        return connection.has(zwlr_virtual_pointer_manager_v1_interface) &&
               connection.has(zwp_virtual_keyboard_manager_v1_interface) &&
               connection.has(wl_seat_interface);
    });
}

} // namespace platform::wayland
