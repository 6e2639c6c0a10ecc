#include "local/DisplayChoice.h"

#include "app/host/Decimal.h"

#include <algorithm>

namespace orvel {
const Display* chosenDisplay(const std::vector<Display>& displays,
                             const std::optional<std::string>& displayArg) {
    if (displays.empty())
        return nullptr;
    const auto id = displayArg ? decimal<platform::DisplayID>(*displayArg) : std::nullopt;
    const auto wanted = std::ranges::find_if(
        displays, [&](const Display& display) { return id && display.id == *id; });
    if (wanted != displays.end())
        return &*wanted;
    const auto main = std::ranges::find_if(displays, &Display::main);
    return main != displays.end() ? &*main : &displays.front();
}

} // namespace orvel
