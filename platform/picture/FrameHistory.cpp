#include "platform/picture/FrameHistory.h"

#include <algorithm>

namespace platform::picture {

void FrameHistory::record(std::uint64_t serial, const BlockMap& changed) {
    auto& place = entries[count++ % depth];
    if (!place)
        place.emplace(Entry{serial, changed});
    place->serial = serial;
    place->changed = changed;
}

void FrameHistory::addChangesSince(std::uint64_t serial, BlockMap& stale) const {
    const std::size_t oldest = count - std::min(count, depth);
    std::size_t number = count;
    while (number > oldest && entry(number - 1)->serial != serial)
        --number;
    if (number == oldest)
        return stale.markAll();
    for (; number < count; ++number)
        stale.add(entry(number)->changed);
}

} // namespace platform::picture
