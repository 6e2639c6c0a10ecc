#pragma once

#include "app/host/HostChannel.h"
#include "support/Files.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <span>
#include <vector>

namespace test {

struct Frame {
    orvel::FrameType type;
    orvel::Bytes payload;

    nlohmann::json json() const { return nlohmann::json::parse(payload); }
};

/// Takes the first whole frame off the front of `bytes`, if one is there.
std::optional<Frame> takeFrame(std::vector<std::uint8_t>& bytes);

/// The byte stream in a 'V' frame; none in one that is too short.
std::span<const std::uint8_t> accessUnit(const Frame& frame);

/// The payload of a 'V' frame, taken apart.
struct Video {
    bool key;
    std::uint64_t microseconds;
    std::vector<std::uint8_t> stream;             ///< The access unit as it came (H.264, Annex B).
    std::vector<std::vector<std::uint8_t>> units; ///< Its NAL units without start codes.

    /// Of the units in their order; of a frame's slices, which follow each other, once.
    std::vector<int> unitTypes() const;
};
/// Throws std::runtime_error if the frame is none of video, or shorter than its head.
Video video(const Frame& frame);

/// Stands in the place of standard output while it lives, and collects what is written there.
class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();

    /// Every frame emitted so far. Throws std::runtime_error if anything else was written.
    std::vector<Frame> frames();

private:
    Descriptor memory;
    Descriptor original;
};

} // namespace test
