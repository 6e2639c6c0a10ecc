#include "platform/wayland/capture/Exclusion.h"

#include "platform/wayland/server/SwayTree.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace platform::wayland {
namespace {

/// Longer than a compositor waits for slow clients before it shows what it has told.
constexpr auto unrest = std::chrono::milliseconds(500);

/// Every pixel that the place touches, and one more: the compositor rounds as well.
Area pixels(const Rect& place, const Output& output, const Area& whole) {
    const double scale = whole.width / output.bounds.width;
    const auto left = std::floor((place.x - output.bounds.x) * scale) - 1;
    const auto top = std::floor((place.y - output.bounds.y) * scale) - 1;
    const auto right = std::ceil((place.x + place.width - output.bounds.x) * scale) + 1;
    const auto bottom = std::ceil((place.y + place.height - output.bounds.y) * scale) + 1;
    const auto within = [](double value, int limit) {
        return static_cast<int>(std::clamp<double>(value, 0, limit));
    };
    const Area area{within(left, whole.width), within(top, whole.height), 0, 0};
    return {area.x, area.y, within(right, whole.width) - area.x,
            within(bottom, whole.height) - area.y};
}

} // namespace

Exclusion::Exclusion(const Connection& connection, const std::vector<std::string>& applications)
    : applications(applications),
      toplevels(connection, applications) {}

void Exclusion::look(const Output& output, MediaTime now) {
    std::optional<std::vector<Rect>> present = std::vector<Rect>{};
    const auto changesOfAll = toplevels.changesOfAll();
    if (places != present || toplevels.any() || changesOfAll != knownOfAll) {
        present = placesInSway(applications);
        if (!present && !toplevels.anyOn(output.proxy))
            present.emplace();
    }
    knownOfAll = changesOfAll;
    const auto changes = toplevels.changes();
    if (unrestUntil && *unrestUntil <= now)
        unrestUntil.reset();
    if (std::exchange(knownChanges, changes) != changes || present != places)
        unrestUntil = now + unrest;
    places = std::move(present);
}

std::vector<Area> Exclusion::hiddenAreas(const Output& output, const Area& whole) const {
    if (!places || unrestUntil || output.bounds.width <= 0)
        return {whole};
    std::vector<Area> areas;
    for (const auto& place : *places)
        if (const auto area = pixels(place, output, whole); place.width > 0 && !area.empty())
            areas.push_back(area);
    return areas;
}

} // namespace platform::wayland
