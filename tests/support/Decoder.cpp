#include "support/Decoder.h"

#include "support/Files.h"
#include "support/Process.h"

#include <cstdlib>
#include <stdexcept>

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

std::vector<Picture> decode(const std::vector<std::uint8_t>& stream, int width, int height,
                            Decoded as) {
    const TemporaryDirectory directory;
    const auto file = directory.path / "video.h264";
    writeFile(file, stream);
    // Passed through one by one: a raw stream's own notion of time drops or doubles none.
    // It guesses a frame rate all the same, and complains if it has read too little for that.
    std::vector<std::string> command{"ffmpeg",      "-v",   "warning", "-probesize", "1G",
                                     "-f",          "h264", "-i",      file,         "-fps_mode",
                                     "passthrough", "-f",   "rawvideo"};
    if (as == Decoded::luma)
        command.insert(command.end(), {"-vf", "extractplanes=y", "-pix_fmt", "gray"});
    else
        command.insert(command.end(),
                       {"-sws_flags", "accurate_rnd+full_chroma_int", "-pix_fmt", "bgra"});
    command.emplace_back("-");
    Process decoder(command, {}, true);
    decoder.closeInput();
    const auto pixels = decoder.rest();
    if (const auto complaint = decoder.errorText(); !complaint.empty() || decoder.wait() != 0)
        throw std::runtime_error("the decoder: " + complaint);

    const int bytesPerPixel = as == Decoded::luma ? 1 : 4;
    const auto size = static_cast<std::ptrdiff_t>(width) * height * bytesPerPixel;
    if (static_cast<std::ptrdiff_t>(pixels.size()) % size != 0)
        throw std::runtime_error("the pictures have another size than announced");
    std::vector<Picture> pictures;
    for (auto next = pixels.begin(); pixels.end() - next >= size; next += size)
        pictures.push_back({width, height, bytesPerPixel, {next, next + size}});
    return pictures;
}

std::string probe(const std::vector<std::uint8_t>& stream) {
    const TemporaryDirectory directory;
    const auto file = directory.path / "video.h264";
    writeFile(file, stream);
    Process prober({"ffprobe", "-v", "error", "-f", "h264", "-show_streams", "-show_frames", "-of",
                    "default=noprint_wrappers=1", file});
    prober.closeInput();
    return prober.restText();
}

} // namespace test
