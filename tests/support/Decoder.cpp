#include "support/Decoder.h"

#include "support/Process.h"

#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace test {

std::span<const std::uint8_t> Picture::at(int x, int y) const {
    const auto pixel =
        static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
    const auto size = static_cast<std::size_t>(bytesPerPixel);
    return std::span(bytes).subspan(pixel * size, size);
}

bool Picture::shows(int x, int y, std::uint32_t colour) const {
    constexpr int tolerance = 8;
    const auto pixel = at(x, y);
    for (const std::size_t channel : {0, 1, 2})
        if (std::abs(pixel[channel] - static_cast<int>(colour >> channel * 8 & 255)) > tolerance)
            return false;
    return true;
}

namespace {

struct Output {
    std::vector<std::uint8_t> bytes;
    std::string errors;
};

/// What a command that reads a byte stream from its standard input makes of it.
Output made(const std::vector<std::string>& command, const std::vector<std::uint8_t>& stream) {
    Process process(command, {}, true);
    const std::jthread feeding([&] {
        process.write({reinterpret_cast<const char*>(stream.data()), stream.size()});
        process.closeInput();
    });
    auto bytes = process.rest();
    return {std::move(bytes), process.errorText()};
}

} // namespace

std::vector<Picture> decode(const std::vector<std::uint8_t>& stream, int width, int height,
                            Decoded as) {
    const bool luma = as == Decoded::luma;
    // Passed through one by one: a raw stream's own notion of time drops or doubles none.
    // It guesses a frame rate all the same, and complains if it has read too little for that.
    const auto [pixels, complaint] =
        made({"ffmpeg", "-v", "warning", "-probesize", "1G", "-f", "h264", "-i", "pipe:0",
              "-fps_mode", "passthrough", "-f", "rawvideo", "-vf",
              luma ? "extractplanes=y" : "scale=flags=accurate_rnd+full_chroma_int", "-pix_fmt",
              luma ? "gray" : "bgra", "pipe:1"},
             stream);
    const int bytesPerPixel = luma ? 1 : 4;
    const auto size = static_cast<std::ptrdiff_t>(width) * height * bytesPerPixel;
    if (!complaint.empty() || std::ssize(pixels) % size != 0)
        throw std::runtime_error("pictures of another size, or: " + complaint);
    std::vector<Picture> pictures;
    for (auto next = pixels.begin(); next != pixels.end(); next += size)
        pictures.push_back({width, height, bytesPerPixel, {next, next + size}});
    return pictures;
}

std::string probe(const std::vector<std::uint8_t>& stream) {
    const auto said = made({"ffprobe", "-v", "error", "-f", "h264", "-show_streams", "-show_frames",
                            "-of", "default=noprint_wrappers=1", "pipe:0"},
                           stream);
    return {said.bytes.begin(), said.bytes.end()};
}

} // namespace test
