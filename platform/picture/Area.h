#pragma once

#include <algorithm>
#include <vector>

namespace platform::picture {

/// A part of a picture, in pixels.
struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }
    int bottom() const { return y + height; }
    bool empty() const { return width <= 0 || height <= 0; }
    Area movedBy(int byX, int byY) const { return {x + byX, y + byY, width, height}; }
    friend bool operator==(const Area&, const Area&) = default;
};

/// What two areas share; empty if that is nothing.
inline Area intersection(const Area& a, const Area& b) {
    const int x = std::max(a.x, b.x);
    const int y = std::max(a.y, b.y);
    return {x, y, std::max(std::min(a.right(), b.right()) - x, 0),
            std::max(std::min(a.bottom(), b.bottom()) - y, 0)};
}

/// Replaces each area by what is left of it outside `hole`: up to four areas that don't overlap.
inline void subtract(std::vector<Area>& areas, const Area& hole) {
    const auto count = areas.size();
    for (std::size_t index = 0; index < count; ++index) {
        const Area area = areas[index];
        const Area cut = intersection(area, hole);
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

} // namespace platform::picture
