#pragma once

#include "platform/PixelBuffer.h"
#include "platform/h264/EncoderSettings.h"
#include "platform/h264/FramePlanner.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

struct x264_t;

namespace platform::h264 {

/// x264, set up for a desktop at no delay: each frame's access unit is there when `encode`
/// returns. Used by one thread at a time.
class H264Encoder final {
public:
    /// Returns nullptr if x264 can't be had for these settings or memory ran out.
    static std::unique_ptr<H264Encoder> open(const EncoderSettings& settings);
    ~H264Encoder();
    H264Encoder(const H264Encoder&) = delete;
    H264Encoder& operator=(const H264Encoder&) = delete;

    struct AccessUnit {
        std::span<const std::uint8_t>
            data; ///< NAL units behind their lengths (4 bytes, big-endian).
        bool key;
    };
    /// Encodes a video420 frame of the encoder's size as planned, at most as coarsely as the
    /// highest QP. Only the first frame and those planned so become key frames (IDR). The result is
    /// valid until the next call; nullopt means that the frame could not be encoded.
    std::optional<AccessUnit> encode(const PixelBuffer& frame, const FramePlan& plan);

    /// Sequence and picture parameter set, without start code or length.
    const std::array<std::vector<std::uint8_t>, 2>& parameterSets() const { return sets; }

private:
    struct Close {
        void operator()(x264_t* encoder) const;
    };
    explicit H264Encoder(x264_t* opened);
    bool readParameterSets();
    void search(int rows, int references);

    std::unique_ptr<x264_t, Close> encoder;
    std::array<std::vector<std::uint8_t>, 2> sets;
    std::int64_t frames = 0;
    int searchedRows = 0;
    int searchedReferences = 0; // Not chosen yet.
};

} // namespace platform::h264
