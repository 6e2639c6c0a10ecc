#include "platform/Screens.h"

#include "platform/Mutex.h"
#include "platform/Permissions.h"
#include "platform/Text.h"
#include "platform/x11/server/Monitors.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <atomic>
#include <memory>

namespace platform {
namespace {

using x11::Connection;
using x11::Monitor;

/// The connection all the questions of this file share. It is opened by the first of them, and
/// again after the server was lost; empty while there is no server.
std::shared_ptr<const Connection> desktop() {
    static Mutex lock;
    static std::shared_ptr<const Connection> open GUARDED_BY(lock);
    const MutexLock locked(lock);
    // No events are selected; looking for one shows whether the server is still there.
    if (open)
        x11::Owned<xcb_generic_event_t>{xcb_poll_for_event(*open)};
    if (!open || open->lost())
        open = Connection::open();
    return open;
}

std::vector<Monitor> presentMonitors() {
    const auto connection = desktop();
    return connection ? x11::monitors(*connection) : std::vector<Monitor>{};
}

std::optional<Monitor> monitor(DisplayID display) {
    const auto present = presentMonitors();
    const auto found = std::ranges::find(present, display, &Monitor::name);
    return found != present.end() ? std::optional(*found) : std::nullopt;
}

std::string atomName(const Connection& connection, xcb_atom_t atom) {
    const auto answer =
        x11::reply(connection, xcb_get_atom_name_reply, xcb_get_atom_name(connection, atom));
    if (!answer)
        return {};
    return {xcb_get_atom_name_name(answer.get()),
            static_cast<std::size_t>(xcb_get_atom_name_name_length(answer.get()))};
}

/// Servers that draw on a Wayland desktop say so by an extension, older ones only in the names of
/// their monitors.
bool isGuestOfWayland(const Connection& connection) {
    if (connection.has("XWAYLAND"))
        return true;
    return std::ranges::any_of(x11::monitors(connection), [&](const Monitor& each) {
        return atomName(connection, each.name).starts_with("XWAYLAND");
    });
}

} // namespace

std::vector<DisplayID> activeDisplayList() {
    std::vector<DisplayID> displays;
    for (const auto& each : presentMonitors())
        displays.push_back(each.name);
    return displays;
}

DisplayID mainDisplayID() {
    const auto present = presentMonitors();
    if (present.empty())
        return 0;
    const auto primary = std::ranges::find(present, true, &Monitor::primary);
    return primary != present.end() ? primary->name : present.front().name;
}

Rect displayBounds(DisplayID display) {
    const auto found = monitor(display);
    if (!found)
        return {};
    return {static_cast<double>(found->x), static_cast<double>(found->y),
            static_cast<double>(found->width), static_cast<double>(found->height)};
}

std::optional<std::int64_t> displayPixelWidth(DisplayID display) {
    const auto found = monitor(display);
    return found ? std::optional<std::int64_t>(found->width) : std::nullopt;
}

std::vector<NamedScreen> namedScreens() {
    const auto connection = desktop();
    if (!connection)
        return {};
    std::vector<NamedScreen> screens;
    for (const auto& each : x11::monitors(*connection))
        screens.push_back({each.name, repairedUTF8(atomName(*connection, each.name))});
    return screens;
}

bool preflightScreenCaptureAccess() {
    // A Wayland desktop keeps its picture to itself: the root window of its X server is black.
    const auto connection = desktop();
    return connection && !isGuestOfWayland(*connection);
}

bool preflightPostEventAccess() {
    // What the newest server said: one that is lost withdraws no permission.
    static std::atomic<bool> granted = false;
    const auto connection = desktop();
    const bool answer = connection && connection->has(&xcb_test_id);
    if (connection && !connection->lost())
        granted = answer;
    return granted;
}

} // namespace platform
