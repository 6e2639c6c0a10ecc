#include "platform/h264/X264Parameters.h"

#include <algorithm>

namespace platform::h264 {
namespace {

/// In pixels. What is scrolled jumps by several lines from picture to picture; text that is not
/// found where it came from costs as much as text that is new.
constexpr int maxMotion = 128;

/// Finer ones polish what no eye sees, for bits that the next change needs.
constexpr int targetQP = 18;

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
    parameters.analyse.i_me_range = maxMotion;
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
    parameters.rc.i_qp_max = settings.maxQP;
    // The level follows from these; a buffer that is open can be changed later.
    parameters.rc.i_vbv_max_bitrate = x264Kilobits(settings.bitsPerSecond);
    parameters.rc.i_vbv_buffer_size = x264Kilobits(settings.bitsPerSecond);
}

} // namespace

int x264Kilobits(std::int64_t bits) {
    return static_cast<int>(std::clamp<std::int64_t>(bits / 1000, 1, maxX264Kilobits));
}

x264_param_t x264Parameters(const H264Encoder::Settings& settings) {
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

x264_picture_t x264Picture(const PixelBuffer& picture) {
    x264_picture_t input;
    x264_picture_init(&input);
    input.img.i_csp = X264_CSP_NV12;
    input.img.i_plane = 2;
    for (const int index : {0, 1}) {
        input.img.plane[index] = picture.plane(index).data;
        input.img.i_stride[index] = picture.plane(index).bytesPerRow;
    }
    return input;
}

} // namespace platform::h264
