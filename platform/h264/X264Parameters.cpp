#include "platform/h264/X264Parameters.h"

#include "platform/picture/ShiftFinder.h"

#include <algorithm>
#include <thread>

namespace platform::h264 {
namespace {

/// Every quantiser that frames are given has to be within x264's limits, and those of a stream of
/// constant quality follow from this factor between the kinds of frames: about 20 either way.
constexpr float quantiserSpread = 10;
constexpr int quantiserReach = 19;

/// The fastest preset, with those tools of the High profile back on that pay for themselves on
/// screens, in time or in bits.
void chooseTools(x264_param_t& parameters) {
    parameters.b_cabac = 1;
    parameters.b_deblocking_filter = 1;
    parameters.analyse.b_transform_8x8 = 1;
    parameters.analyse.intra = X264_ANALYSE_I4x4 | X264_ANALYSE_I8x8;
    parameters.analyse.inter = X264_ANALYSE_I4x4 | X264_ANALYSE_I8x8;
    parameters.analyse.i_weighted_pred = X264_WEIGHTP_NONE; // It would void the map of macroblocks.
    parameters.analyse.b_mb_info = 1;
    parameters.rc.i_aq_mode = X264_AQ_NONE;
}

/// Nothing is kept back to look ahead, and no frame becomes a key frame unless it is asked for.
void forbidDelay(x264_param_t& parameters) {
    parameters.b_vfr_input = 0; // Else x264 waits for the next frame to know how long this lasts.
    parameters.i_bframe = 0;
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

/// Two slices halve the time of a large change, and cost a small one nothing.
void chooseThreads(x264_param_t& parameters) {
    constexpr unsigned maxSlices = 2;
    const auto slices = std::clamp(std::thread::hardware_concurrency(), 1u, maxSlices);
    parameters.i_threads = static_cast<int>(slices);
    parameters.b_sliced_threads = slices > 1 ? 1 : 0;
}

/// Each frame comes with its quantiser, so that x264 need not foresee how many bits it takes: that
/// would be a look at a half-sized copy of each frame, all of it, a third of a small one's time.
void chooseRateControl(x264_param_t& parameters, const EncoderSettings& settings) {
    parameters.rc.i_rc_method = X264_RC_CQP;
    parameters.rc.i_qp_constant = std::max(settings.maxQP - quantiserReach, 1);
    parameters.rc.f_ip_factor = quantiserSpread;
    parameters.rc.f_pb_factor = quantiserSpread;
}

/// The lowest level (H.264, table A-1) with room for such a stream, which x264 finds by itself only
/// where it controls the rate.
void chooseLevel(x264_param_t& parameters, const EncoderSettings& settings) {
    const auto blocks = std::int64_t{macroblocks(settings.width)} * macroblocks(settings.height);
    // The most that a stream may be set to later, and a second may take half as much again.
    constexpr std::int64_t kilobits = 20'000 * 3 / 2;
    const auto* level = x264_levels;
    while (level[1].level_idc != 0 &&
           (level->frame_size < blocks || level->mbps < blocks * settings.framesPerSecond ||
            level->dpb < blocks * picture::ShiftFinder::maxFramesAgo || level->bitrate < kilobits))
        ++level;
    parameters.i_level_idc = level->level_idc;
}

} // namespace

void chooseSearch(x264_param_t& parameters, int rows, int references) {
    parameters.i_frame_reference = references;
    constexpr int nearby = 16;
    constexpr int minRange = 48;
    constexpr int maxRange = 1024;
    // The only search that looks far along straight lines and yet not everywhere looks half as far
    // up and down as to the sides; and it costs twice the time where there is nothing to be found.
    parameters.analyse.i_me_method = rows == 0 ? X264_ME_HEX : X264_ME_UMH;
    parameters.analyse.i_me_range =
        rows == 0 ? nearby : std::clamp(2 * rows + nearby, minRange, maxRange);
}

x264_param_t x264Parameters(const EncoderSettings& settings) {
    x264_param_t parameters;
    x264_param_default_preset(&parameters, "ultrafast", "zerolatency");
    parameters.i_log_level = X264_LOG_NONE;
    parameters.i_csp = X264_CSP_NV12;
    parameters.i_width = settings.width;
    parameters.i_height = settings.height;
    parameters.i_fps_num = static_cast<std::uint32_t>(settings.framesPerSecond);
    parameters.i_fps_den = 1;
    chooseRateControl(parameters, settings);
    chooseLevel(parameters, settings);
    chooseTools(parameters);
    // Most frames look in one of them.
    chooseSearch(parameters, 0, picture::ShiftFinder::maxFramesAgo);
    chooseThreads(parameters);
    forbidDelay(parameters);
    chooseForm(parameters);
    x264_param_apply_profile(&parameters, "high");
    return parameters;
}

x264_picture_t x264Picture(const PixelBuffer& frame) {
    x264_picture_t input;
    x264_picture_init(&input);
    input.img.i_csp = X264_CSP_NV12;
    input.img.i_plane = 2;
    for (const int index : {0, 1}) {
        input.img.plane[index] = frame.plane(index).data;
        input.img.i_stride[index] = frame.plane(index).bytesPerRow;
    }
    return input;
}

} // namespace platform::h264
