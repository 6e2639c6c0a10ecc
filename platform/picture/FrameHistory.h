#pragma once

#include "platform/picture/BlockMap.h"

#include <array>
#include <cstdint>
#include <optional>

namespace platform::picture {

/// Remembers in which blocks each of the last frames of a stream differed from the one before,
/// so that memory that still holds one of them needs only the difference filled in.
class FrameHistory {
public:
    /// The next frame of the stream is `serial` (not 0), and it differs from its predecessor in
    /// these blocks. All maps have one size.
    void record(std::uint64_t serial, const BlockMap& changed);

    /// Marks in `stale` where the last frame may differ from frame `serial`: everywhere, if
    /// that one is too old, or was none of this stream.
    void addChangesSince(std::uint64_t serial, BlockMap& stale) const;

    /// The serial of the last frame; 0 if there is none yet.
    std::uint64_t last() const { return count == 0 ? 0 : entry(count - 1)->serial; }

private:
    struct Entry {
        std::uint64_t serial;
        BlockMap changed;
    };
    /// More than the frames that are under way at one time, whose memory comes back in any order.
    static constexpr std::size_t depth = 8;

    const std::optional<Entry>& entry(std::size_t number) const { return entries[number % depth]; }

    std::array<std::optional<Entry>, depth> entries;
    std::size_t count = 0; // of frames recorded so far
};

} // namespace platform::picture
