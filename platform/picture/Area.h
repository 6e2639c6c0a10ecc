#pragma once

#include "platform/Area.h"

#include <algorithm>
#include <vector>

namespace platform {

/// Returns what two areas share; an empty area if that is nothing.
inline Area intersection(const Area& a, const Area& b) {
    const int x = std::max(a.x, b.x);
    const int y = std::max(a.y, b.y);
    return {x, y, std::max(std::min(a.right(), b.right()) - x, 0),
            std::max(std::min(a.bottom(), b.bottom()) - y, 0)};
}

/// Returns the smallest area that holds both.
inline Area extents(const Area& a, const Area& b) {
    if (a.empty() || b.empty())
        return a.empty() ? b : a;
    const int x = std::min(a.x, b.x);
    const int y = std::min(a.y, b.y);
    return {x, y, std::max(a.right(), b.right()) - x, std::max(a.bottom(), b.bottom()) - y};
}

/// Whether any of the areas shares something with `area`.
inline bool touch(const std::vector<Area>& areas, const Area& area) {
    return std::ranges::any_of(areas,
                               [&](const Area& each) { return !intersection(each, area).empty(); });
}

/// Replaces each area by what is left of it outside `removed`: up to four areas that don't overlap.
inline void subtract(std::vector<Area>& areas, const Area& removed) {
    const auto count = areas.size();
    for (std::size_t index = 0; index < count; ++index) {
        const Area area = areas[index];
        const Area cut = intersection(area, removed);
        if (cut.empty())
            continue;
        const Area pieces[] = {{area.x, area.y, area.width, cut.y - area.y},
                               {area.x, cut.bottom(), area.width, area.bottom() - cut.bottom()},
                               {area.x, cut.y, cut.x - area.x, cut.height},
                               {cut.right(), cut.y, area.right() - cut.right(), cut.height}};
        areas[index] = {};
        for (const auto& piece : pieces)
            if (!piece.empty())
                areas.push_back(piece);
    }
    std::erase_if(areas, [](const Area& area) { return area.empty(); });
}

} // namespace platform
