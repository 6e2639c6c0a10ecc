#include "platform/wayland/input/PersonWatch.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace platform::wayland {
namespace {

using namespace std::chrono_literals;

/// The shortest that every compositor keeps to.
constexpr std::chrono::milliseconds idleAfter = 50ms;
/// An event of this program's keeps the seat in use for no longer, even if the compositor is busy.
constexpr auto maxOwnUse = 500ms;
/// While an application asks the screen to stay awake, as for a film, the compositor does not tell
/// that the seat is idle. Nobody keeps moving a mouse for this long.
constexpr auto unbelievable = 10s;

} // namespace

PersonWatch::PersonWatch(const Connection& connection, wl_seat* seat) : connection(connection) {
    static constexpr ext_idle_notification_v1_listener listener{
        .idled = calls<&PersonWatch::idled>,
        .resumed = calls<&PersonWatch::resumed>,
    };
    static constexpr org_kde_kwin_idle_timeout_listener olderListener{
        .idle = calls<&PersonWatch::idled>,
        .resumed = calls<&PersonWatch::resumed>,
    };
    constexpr auto milliseconds = static_cast<std::uint32_t>(idleAfter.count());
    if (const auto notifier =
            connection.bind<ext_idle_notifier_v1>(ext_idle_notifier_v1_interface)) {
        notification.reset(
            ext_idle_notifier_v1_get_idle_notification(notifier.get(), milliseconds, seat));
        ext_idle_notification_v1_add_listener(notification.get(), &listener, this);
    } else if (const auto idle = connection.bind<org_kde_kwin_idle>(org_kde_kwin_idle_interface)) {
        timeout.reset(org_kde_kwin_idle_get_idle_timeout(idle.get(), seat, milliseconds));
        org_kde_kwin_idle_timeout_add_listener(timeout.get(), &olderListener, this);
    }
}

void PersonWatch::idled() {
    if (isPerson)
        lastPerson = (hostTime() + -idleAfter).nanoseconds;
    inUseSince.reset();
    isPerson = false;
}

void PersonWatch::resumed() {
    inUseSince = hostTime();
    isPerson = onTheirWay.empty();
}

void PersonWatch::made() {
    static constexpr wl_callback_listener listener{.done = calls<&PersonWatch::arrived>};
    auto& answer = onTheirWay.emplace_back(wl_display_sync(connection));
    wl_callback_add_listener(answer.get(), &listener, this);
}

void PersonWatch::arrived(std::uint32_t) {
    onTheirWay.pop_front();
    lastArrived = hostTime();
}

std::optional<std::chrono::nanoseconds> PersonWatch::unexplainedUse(MediaTime now) const {
    if (!inUseSince || !onTheirWay.empty())
        return std::nullopt;
    return now - std::max(lastArrived.value_or(MediaTime{}), *inUseSince);
}

bool PersonWatch::isPersonThere(MediaTime now) {
    const auto use = unexplainedUse(now);
    if (!use || *use >= unbelievable)
        return false;
    isPerson = isPerson || *use >= maxOwnUse;
    if (isPerson)
        lastPerson = now.nanoseconds;
    return isPerson;
}

std::optional<MediaTime> PersonWatch::due(MediaTime now) const {
    const auto use = unexplainedUse(now);
    return use && *use < unbelievable ? std::optional(now + maxOwnUse) : std::nullopt;
}

double PersonWatch::secondsSinceInput() const {
    const auto last = lastPerson.load();
    if (last == 0)
        return std::numeric_limits<double>::infinity();
    return std::chrono::duration<double>(hostTime() - MediaTime{last}).count();
}

} // namespace platform::wayland
