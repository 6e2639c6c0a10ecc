#include "bench/Figures.h"
#include "bench/Filmed.h"
#include "bench/Table.h"
#include "platform/VideoCompression.h"
#include "platform/h264/X264Parameters.h"

#include <limits>
#include <stdexcept>

/// Measures the compression session alone, beside x264 itself with the same settings, fed the same
/// pictures: once with the maps of what did not change, once without.
namespace bench {
namespace {

using namespace std::chrono_literals;
using namespace platform;

constexpr int pictureCount = 60;
constexpr int runs = 5;
constexpr int framesPerSecond = 30;
constexpr int maxQP = 36;
constexpr int quantiser = 18; // What the session takes where there is room for all bits.
/// So much that neither has to spread a picture's bits over the next ones.
constexpr std::int64_t bitsPerSecond = 200'000'000;

using Pictures = std::vector<ImageBuffer>;

double perPicture(TimePoint begin, const Pictures& pictures) {
    return milliseconds(Clock::now() - begin) / static_cast<double>(pictures.size());
}

double timeOfSession(const Pictures& pictures) {
    const auto& first = *pictures.front();
    const auto session = CompressionSession::create(first.width(), first.height());
    session->setExpectedFrameRate(framesPerSecond);
    session->setAverageBitRate(bitsPerSecond);
    session->setMaxAllowedFrameQP(maxQP);
    session->prepareToEncode();
    const auto begin = Clock::now();
    MediaTime time;
    for (const auto& picture : pictures) {
        time = time + 33ms;
        session->encodeFrame(picture, time, {}, [](const EncodedSample* sample) {
            if (!sample)
                throw std::runtime_error("a picture was passed over");
        });
    }
    return perPicture(begin, pictures);
}

struct Close {
    void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};

double timeOfX264(const Pictures& pictures, bool withMaps, int searchRows) {
    const auto& first = *pictures.front();
    auto parameters = h264::x264Parameters({.width = first.width(),
                                            .height = first.height(),
                                            .framesPerSecond = framesPerSecond,
                                            .maxQP = maxQP});
    const std::unique_ptr<x264_t, Close> encoder(x264_encoder_open(&parameters));
    h264::chooseSearch(parameters, searchRows, 1);
    x264_encoder_reconfig(encoder.get(), &parameters);
    std::vector<std::uint8_t> constant;
    const auto begin = Clock::now();
    std::int64_t number = 0;
    for (const auto& picture : pictures) {
        auto input = h264::x264Picture(*picture);
        input.i_pts = number++;
        input.i_qpplus1 = quantiser + 1;
        if (withMaps) {
            constant.clear();
            for (const auto changed : picture->changes.changedBlocks)
                constant.push_back(changed ? 0 : X264_MBINFO_CONSTANT);
            input.prop.mb_info = constant.data();
        }
        x264_nal_t* units = nullptr;
        int count = 0;
        x264_picture_t output;
        if (x264_encoder_encode(encoder.get(), &units, &count, &input, &output) <= 0)
            throw std::runtime_error("x264 failed");
    }
    return perPicture(begin, pictures);
}

void measure(Table& table) {
    constexpr double aim = 1.05;
    struct Film {
        std::string name;
        SceneKind kind;
        int searchRows; // What is moved up a frame.
    };
    for (const auto& [name, kind, searchRows] : {Film{"typing", SceneKind::typing, 0},
                                                 {"scrolling", SceneKind::scrolling, 45},
                                                 {"window", SceneKind::window, 0},
                                                 {"video", SceneKind::video, 0}}) {
        const auto pictures = filmed(kind, pictureCount);
        double session = std::numeric_limits<double>::infinity();
        double mapped = session;
        double plain = session;
        for (int run = 0; run < runs; ++run) {
            session = std::min(session, timeOfSession(pictures));
            mapped = std::min(mapped, timeOfX264(pictures, true, searchRows));
            plain = std::min(plain, timeOfX264(pictures, false, searchRows));
        }
        table.row(name + ": a picture, x264 with the same map", "ms", session, mapped, aim);
        table.row(name + ": a picture, x264 without the map", "ms", session, plain);
    }
}

} // namespace
} // namespace bench

int main(int count, char** arguments) {
    return bench::printTable(count, arguments, "x264 alone with the same settings, same pictures",
                             bench::measure);
}
