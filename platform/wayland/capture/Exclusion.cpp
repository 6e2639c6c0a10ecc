#include "platform/wayland/capture/Exclusion.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace platform::wayland {
namespace {

using namespace std::chrono_literals;

/// Longer than sway waits for slow clients before it shows what it has told.
constexpr std::chrono::nanoseconds maxSettlingOfSway = 500ms;
/// Longer than other compositors let a window fade away that is closed.
constexpr std::chrono::nanoseconds maxSettling = 2s;

bool isOn(const Rect& output, const Rect& place) {
    return place.width > 0 && place.height > 0 && place.x < output.x + output.width &&
           place.y < output.y + output.height && output.x < place.x + place.width &&
           output.y < place.y + place.height;
}

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
    : connection(connection),
      applications(applications),
      toplevels(connection, applications) {}

void Exclusion::look(const Output& output, MediaTime now) {
    std::optional<std::vector<WindowPlace>> present = std::vector<WindowPlace>{};
    bool isSway = false;
    const auto changesOfAll = toplevels.changesOfAll();
    if (places != present || toplevels.any() || changesOfAll != knownOfAll) {
        present = placesInSway(connection, applications);
        isSway = present.has_value();
        if (!isSway && !toplevels.anyOn(output.proxy))
            present.emplace();
    }
    knownOfAll = changesOfAll;
    const auto changes = toplevels.changes();
    if (settledAt && *settledAt <= now)
        settledAt.reset();
    if (std::exchange(knownChanges, changes) != changes || present != places)
        settledAt = now + (isSway ? maxSettlingOfSway : maxSettling);
    places = std::move(present);
}

std::vector<Area> Exclusion::hiddenAreas(const Output& output, const Area& whole) const {
    if (!places || settledAt || output.bounds.width <= 0)
        return {whole};
    std::vector<Area> areas;
    for (const auto& place : *places) {
        if (!isOn(output.bounds, place.area))
            continue;
        if (place.mayHavePopups)
            return {whole};
        areas.push_back(pixels(place.area, output, whole));
    }
    return areas;
}

} // namespace platform::wayland
