#include "tools/unpack/VideoFile.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>
#include <utility>

namespace unpack {
namespace {

constexpr AVRational microsecond{1, 1'000'000};

void check(int result, const std::string& what) {
    if (result >= 0)
        return;
    std::array<char, AV_ERROR_MAX_STRING_SIZE> reason{};
    av_strerror(result, reason.data(), reason.size());
    throw std::runtime_error(what + ": " + reason.data());
}

/// How many bytes precede the first slice of a key frame: its parameter sets.
std::size_t parameterSets(const std::vector<std::uint8_t>& keyFrame) {
    constexpr std::array<std::uint8_t, 3> startCode{0, 0, 1};
    constexpr std::uint8_t lastSliceType = 5;
    auto at = keyFrame.begin();
    for (;;) {
        at = std::search(at, keyFrame.end(), startCode.begin(), startCode.end());
        if (keyFrame.end() - at <= 3 || (at[3] & 31) <= lastSliceType)
            return static_cast<std::size_t>(at - keyFrame.begin());
        ++at;
    }
}

} // namespace

void VideoFile::Close::operator()(AVFormatContext* opened) const {
    avio_closep(&opened->pb);
    avformat_free_context(opened);
}

VideoFile::VideoFile(const std::string& path) {
    const bool container = path.ends_with(".mp4") || path.ends_with(".mkv");
    AVFormatContext* opened = nullptr;
    check(avformat_alloc_output_context2(&opened, nullptr, container ? nullptr : "h264",
                                         path.c_str()),
          path);
    context.reset(opened);
    const auto url = "file:" + path;
    check(avio_open(&context->pb, url.c_str(), AVIO_FLAG_WRITE), path);
}

void VideoFile::announce(int newWidth, int newHeight) {
    width = newWidth;
    height = newHeight;
}

void VideoFile::add(Frame frame) {
    if (waiting)
        write(*waiting, frame.time);
    else if (frame.key)
        begin(frame);
    else
        return;
    waiting = std::move(frame);
}

void VideoFile::begin(const Frame& first) {
    beginning = first.time;
    auto* stream = avformat_new_stream(context.get(), nullptr);
    if (!stream)
        throw std::bad_alloc();
    const auto sets = parameterSets(first.data);
    auto& parameters = *stream->codecpar;
    parameters.codec_type = AVMEDIA_TYPE_VIDEO;
    parameters.codec_id = AV_CODEC_ID_H264;
    parameters.width = width;
    parameters.height = height;
    parameters.extradata =
        static_cast<std::uint8_t*>(av_mallocz(sets + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters.extradata)
        throw std::bad_alloc();
    parameters.extradata_size = static_cast<int>(sets);
    std::copy_n(first.data.begin(), sets, parameters.extradata);
    stream->time_base = microsecond;
    check(avformat_write_header(context.get(), nullptr), "the file can't be begun");
}

void VideoFile::write(const Frame& frame, Microseconds until) {
    const std::unique_ptr<AVPacket, void (*)(AVPacket*)> packet(
        av_packet_alloc(), [](AVPacket* owned) { av_packet_free(&owned); });
    if (!packet)
        throw std::bad_alloc();
    check(av_new_packet(packet.get(), static_cast<int>(frame.data.size())), "a frame is too large");
    std::ranges::copy(frame.data, packet->data);
    packet->pts = packet->dts = (frame.time - beginning).count();
    packet->duration = (until - frame.time).count();
    packet->flags = frame.key ? AV_PKT_FLAG_KEY : 0;
    av_packet_rescale_ts(packet.get(), microsecond, context->streams[0]->time_base);
    check(av_write_frame(context.get(), packet.get()), "a frame can't be written");
}

void VideoFile::end(Microseconds time) {
    if (!waiting)
        return; // Without a frame the file stays empty.
    write(*waiting, std::max(time, waiting->time));
    check(av_write_trailer(context.get()), "the file can't be ended");
}

} // namespace unpack
