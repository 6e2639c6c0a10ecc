#include "platform/media/H264Encoder.h"

#include <x264.h>

#include <algorithm>

namespace platform::media {
namespace {

/// In pixels. What is scrolled jumps by several lines from picture to picture; text that is not
/// found where it came from costs as much as text that is new.
constexpr int farthestMotion = 128;

/// Finer ones polish what no eye sees, for bits that the next change needs.
constexpr int targetQP = 18;

/// What x264 takes for a rate or a buffer.
constexpr std::int64_t mostKilobits = 2'000'000;

/// Of the constraint bits in a sequence parameter set: frames only, and no B slices, which makes
/// the profile Constrained High (H.264, A.2.4.2).
constexpr std::uint8_t constraintSets4And5 = 0x0C;
constexpr std::size_t constraintByte = 2;

int kilobits(std::int64_t bits) {
    return static_cast<int>(std::clamp<std::int64_t>(bits / 1000, 1, mostKilobits));
}

/// The fastest preset, with those tools of the High profile back on that pay for themselves on
/// screens, in time or in bits.
void chooseTools(x264_param_t& parameters) {
    parameters.b_cabac = 1;
    parameters.b_deblocking_filter = 1;
    parameters.analyse.b_transform_8x8 = 1;
    parameters.analyse.intra = X264_ANALYSE_I4x4 | X264_ANALYSE_I8x8;
    parameters.analyse.inter = X264_ANALYSE_I4x4 | X264_ANALYSE_I8x8;
    // The only search that looks far along straight lines and yet not everywhere.
    parameters.analyse.i_me_method = X264_ME_UMH;
    parameters.analyse.i_me_range = farthestMotion;
    parameters.analyse.i_weighted_pred = X264_WEIGHTP_NONE; // It would void the map of macroblocks.
    parameters.analyse.b_mb_info = 1;
    parameters.rc.i_aq_mode = X264_AQ_NONE;
}

/// Nothing is kept back to look ahead, and no picture becomes a key frame unless it is asked for.
void forbidDelay(x264_param_t& parameters) {
    parameters.b_vfr_input = 0; // Else x264 waits for the next picture to know how long this lasts.
    parameters.i_threads = 1;
    parameters.b_sliced_threads = 0;
    parameters.i_bframe = 0;
    parameters.i_frame_reference = 1;
    parameters.rc.i_lookahead = 0;
    parameters.rc.b_mb_tree = 0;
    parameters.i_keyint_max = X264_KEYINT_MAX_INFINITE;
    parameters.i_scenecut_threshold = 0;
}

void chooseForm(x264_param_t& parameters) {
    parameters.b_annexb = 0;
    parameters.b_repeat_headers = 0;
    // What the conversion to video420 does: BT.601 weights, limited range; sRGB's primaries.
    parameters.vui.i_colmatrix = 6;
    parameters.vui.i_colorprim = 1;
    parameters.vui.i_transfer = 1;
    parameters.vui.b_fullrange = 0;
}

/// One quantiser for everything, unless the buffer has no room for that. x264's own rate control
/// takes time to pass only with pictures: a desktop that stands still after a large change would
/// stay coarse for ever. So its buffer here stands for what one picture may take and is full again
/// for the next, and its caller keeps the account.
void chooseRateControl(x264_param_t& parameters, const H264Encoder::Settings& settings) {
    parameters.rc.i_rc_method = X264_RC_CRF;
    parameters.rc.f_rf_constant = targetQP;
    parameters.rc.f_qcompress = 1;
    parameters.rc.f_ip_factor = 1;
    parameters.rc.i_qp_max = settings.highestQP;
    // The level follows from these; a buffer that is open can be changed later.
    parameters.rc.i_vbv_max_bitrate = kilobits(settings.bitsPerSecond);
    parameters.rc.i_vbv_buffer_size = kilobits(settings.bitsPerSecond);
}

x264_param_t parametersFor(const H264Encoder::Settings& settings) {
    x264_param_t parameters;
    x264_param_default_preset(&parameters, "ultrafast", "zerolatency");
    parameters.i_log_level = X264_LOG_NONE;
    parameters.i_csp = X264_CSP_NV12;
    parameters.i_width = settings.width;
    parameters.i_height = settings.height;
    parameters.i_fps_num = static_cast<std::uint32_t>(settings.framesPerSecond);
    parameters.i_fps_den = 1;
    chooseRateControl(parameters, settings);
    chooseTools(parameters);
    forbidDelay(parameters);
    chooseForm(parameters);
    x264_param_apply_profile(&parameters, "high");
    return parameters;
}

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

std::unique_ptr<H264Encoder> H264Encoder::open(const Settings& settings) {
    auto parameters = parametersFor(settings);
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

std::optional<H264Encoder::AccessUnit> H264Encoder::encode(const PixelBuffer& picture,
                                                           bool forceKey,
                                                           std::span<const std::uint8_t> constant,
                                                           std::int64_t mostBits) {
    limitNextPicture(mostBits);
    static_assert(X264_MBINFO_CONSTANT == 1);
    x264_picture_t input;
    x264_picture_init(&input);
    input.i_type = forceKey ? X264_TYPE_IDR : X264_TYPE_AUTO;
    input.i_pts = pictures++;
    input.img.i_csp = X264_CSP_NV12;
    input.img.i_plane = 2;
    for (const int index : {0, 1}) {
        input.img.plane[index] = picture.plane(index).data;
        input.img.i_stride[index] = picture.plane(index).bytesPerRow;
    }
    // x264 writes to it only if it is asked for updates.
    input.prop.mb_info = const_cast<std::uint8_t*>(constant.data()); // NOLINT

    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t output;
    const int size = x264_encoder_encode(encoder.get(), &units, &count, &input, &output);
    if (size <= 0)
        return std::nullopt;
    // All units of a picture lie one behind the other.
    return AccessUnit{{units[0].p_payload, static_cast<std::size_t>(size)}, output.b_keyframe != 0};
}

void H264Encoder::limitNextPicture(std::int64_t mostBits) {
    x264_param_t parameters;
    x264_encoder_parameters(encoder.get(), &parameters);
    auto& rate = parameters.rc;
    rate.i_vbv_buffer_size = kilobits(mostBits);
    // Full again after every picture.
    rate.i_vbv_max_bitrate = static_cast<int>(
        std::min(std::int64_t{rate.i_vbv_buffer_size} * parameters.i_fps_num, mostKilobits));
    x264_encoder_reconfig(encoder.get(), &parameters);
}

} // namespace platform::media
