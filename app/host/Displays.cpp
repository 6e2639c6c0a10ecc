#include "app/host/Displays.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <utility>

namespace orvel {
nlohmann::json Display::json() const {
    return {{"id", std::to_string(id)},
            {"name", name},
            {"w", static_cast<std::int64_t>(bounds.width)},
            {"h", static_cast<std::int64_t>(bounds.height)},
            {"main", main}};
}

std::vector<Display> activeDisplays() {
    std::vector<Display> displays;
    for (auto& [id, name, bounds, main] : platform::activeDisplayList())
        displays.push_back(
            {id, name.empty() ? "Display " + std::to_string(id) : std::move(name), bounds, main});
    return displays;
}

nlohmann::json displaysJSON(const std::vector<Display>& displays) {
    auto array = nlohmann::json::array();
    for (const auto& display : displays)
        array.push_back(display.json());
    return array;
}

} // namespace orvel
