#include "app/host/Displays.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>

namespace orvel {
namespace {

std::map<platform::DisplayID, std::string> namesByDisplay() {
    std::map<platform::DisplayID, std::string> names;
    for (auto& screen : platform::namedScreens())
        if (screen.number)
            names[*screen.number] = std::move(screen.localizedName);
    return names;
}

} // namespace

nlohmann::json Display::json() const {
    return {{"id", std::to_string(id)},
            {"name", name},
            {"w", static_cast<std::int64_t>(bounds.width)},
            {"h", static_cast<std::int64_t>(bounds.height)},
            {"main", main}};
}

std::vector<Display> activeDisplays() {
    const auto names = namesByDisplay();
    const auto mainID = platform::mainDisplayID();
    std::vector<Display> displays;
    for (const auto id : platform::activeDisplayList()) {
        const auto named = names.find(id);
        displays.push_back({id,
                            named != names.end() ? named->second : "Display " + std::to_string(id),
                            platform::displayBounds(id), id == mainID});
    }
    return displays;
}

nlohmann::json displaysJSON(const std::vector<Display>& displays) {
    auto array = nlohmann::json::array();
    for (const auto& display : displays)
        array.push_back(display.json());
    return array;
}

} // namespace orvel
