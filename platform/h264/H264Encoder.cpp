#include "platform/h264/H264Encoder.h"

#include "platform/h264/X264Parameters.h"

namespace platform::h264 {
namespace {

/// Of the constraint bits in a sequence parameter set: frames only, and no B slices, which makes
/// the profile Constrained High (H.264, A.2.4.2).
constexpr std::uint8_t constraintSets4And5 = 0x0C;
constexpr std::size_t constraintByte = 2;

std::span<const std::uint8_t> withoutLength(const x264_nal_t& unit) {
    constexpr std::size_t lengthSize = 4;
    return std::span<const std::uint8_t>(unit.p_payload, static_cast<std::size_t>(unit.i_payload))
        .subspan(lengthSize);
}

} // namespace

void H264Encoder::Close::operator()(x264_t* opened) const {
    x264_encoder_close(opened);
}

H264Encoder::H264Encoder(x264_t* opened) : encoder(opened) {}
H264Encoder::~H264Encoder() = default;

std::unique_ptr<H264Encoder> H264Encoder::open(const EncoderSettings& settings) {
    auto parameters = x264Parameters(settings);
    const auto opened = x264_encoder_open(&parameters);
    if (!opened)
        return nullptr;
    std::unique_ptr<H264Encoder> encoder(new H264Encoder(opened));
    return encoder->readParameterSets() ? std::move(encoder) : nullptr;
}

bool H264Encoder::readParameterSets() {
    x264_nal_t* units = nullptr;
    int count = 0;
    if (x264_encoder_headers(encoder.get(), &units, &count) < 0)
        return false;
    // The third unit, a description of the encoder in 700 bytes, is of no use to anybody.
    for (const auto& unit : std::span(units, static_cast<std::size_t>(count))) {
        const auto bytes = withoutLength(unit);
        if (unit.i_type == NAL_SPS)
            sets[0].assign(bytes.begin(), bytes.end());
        else if (unit.i_type == NAL_PPS)
            sets[1].assign(bytes.begin(), bytes.end());
    }
    if (sets[0].size() <= constraintByte + 1 || sets[1].empty())
        return false;
    sets[0][constraintByte] |= constraintSets4And5;
    return true;
}

std::optional<H264Encoder::AccessUnit> H264Encoder::encode(const PixelBuffer& frame,
                                                           const FramePlan& plan) {
    search(plan.searchRows, plan.references);
    static_assert(X264_MBINFO_CONSTANT == 1);
    auto input = x264Picture(frame);
    input.i_type = plan.key ? X264_TYPE_IDR : X264_TYPE_AUTO;
    input.i_qpplus1 = plan.quantiser + 1;
    input.i_pts = frames++;
    // x264 writes to it only if it is asked for updates.
    input.prop.mb_info = const_cast<std::uint8_t*>(plan.constant.data()); // NOLINT

    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t output;
    const int size = x264_encoder_encode(encoder.get(), &units, &count, &input, &output);
    if (size <= 0)
        return std::nullopt;
    // All units of a frame lie one behind the other.
    return AccessUnit{{units[0].p_payload, static_cast<std::size_t>(size)}, output.b_keyframe != 0};
}

void H264Encoder::search(int rows, int references) {
    if (rows == searchedRows && references == searchedReferences)
        return;
    searchedRows = rows;
    searchedReferences = references;
    x264_param_t parameters;
    x264_encoder_parameters(encoder.get(), &parameters);
    chooseSearch(parameters, rows, references);
    x264_encoder_reconfig(encoder.get(), &parameters);
}

} // namespace platform::h264
