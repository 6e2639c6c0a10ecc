#include "bench/Recording.h"

#include "bench/Scenes.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string>

namespace bench {
namespace {

constexpr std::array<std::uint8_t, 3> startCode{0, 0, 1};

/// Where each NAL unit begins, behind its start code.
std::vector<std::size_t> unitStarts(std::span<const std::uint8_t> stream) {
    std::vector<std::size_t> starts;
    for (auto at = stream.begin();;) {
        at = std::search(at, stream.end(), startCode.begin(), startCode.end());
        if (at == stream.end())
            return starts;
        at += startCode.size();
        starts.push_back(static_cast<std::size_t>(at - stream.begin()));
    }
}

/// Whether the unit is the first of a picture's slices: its first macroblock, an Exp-Golomb
/// number, is then the single bit 1.
bool beginsPicture(std::span<const std::uint8_t> stream, std::size_t unit) {
    const auto type = stream[unit] & 31;
    return (type == 1 || type == 5) && unit + 1 < stream.size() && (stream[unit + 1] & 0x80) != 0;
}

} // namespace

Recording::Recording(test::Process& process, StreamFormat format)
    : format(format),
      reader([this, &process] {
          while (true) {
              const auto chunk = process.chunk(std::chrono::hours(1));
              const auto now = Clock::now();
              const std::lock_guard guard(lock);
              ended = chunk.empty();
              output.insert(output.end(), chunk.begin(), chunk.end());
              chunks.push_back({output.size(), now});
              grown.notify_all();
              if (ended)
                  return;
          }
      }) {}

void Recording::waitForFirst() {
    std::unique_lock guard(lock);
    grown.wait(guard, [this] { return ended || !accessUnits().empty(); });
}

std::size_t Recording::bytes() {
    const std::lock_guard guard(lock);
    return output.size();
}

void Recording::finish() {
    reader.join();
}

TimePoint Recording::arrival(std::size_t end) const {
    return std::ranges::lower_bound(chunks, end, {}, &Chunk::end)->arrived;
}

std::vector<AccessUnit> Recording::accessUnits() const {
    return format == StreamFormat::frames ? unitsOfFrames() : unitsOfByteStream();
}

std::vector<AccessUnit> Recording::unitsOfFrames() const {
    std::vector<AccessUnit> units;
    auto rest = output;
    while (const auto frame = test::takeFrame(rest)) {
        if (frame->type != orvel::FrameType::video)
            continue;
        const auto end = output.size() - rest.size();
        const auto unit = test::accessUnit(*frame);
        units.push_back({end - frame->payload.size(), {unit.begin(), unit.end()}, arrival(end)});
    }
    return units;
}

std::vector<AccessUnit> Recording::unitsOfByteStream() const {
    // A picture ends where the next unit that is not one of its slices begins; the last one may
    // not be whole and is left out.
    std::vector<AccessUnit> units;
    std::size_t begin = 0;
    bool inPicture = false;
    for (const auto unit : unitStarts(output)) {
        const bool slice = (output[unit] & 31) == 1 || (output[unit] & 31) == 5;
        if (inPicture && (!slice || beginsPicture(output, unit))) {
            const auto end = unit - startCode.size();
            units.push_back({begin,
                             {output.begin() + static_cast<std::ptrdiff_t>(begin),
                              output.begin() + static_cast<std::ptrdiff_t>(end)},
                             arrival(end)});
            begin = end;
            inPicture = false;
        }
        inPicture = inPicture || beginsPicture(output, unit);
    }
    return units;
}

void writeFilm(const std::filesystem::path& file, const std::vector<AccessUnit>& units) {
    std::ofstream stream(file, std::ios::binary);
    for (const auto& unit : units)
        stream.write(reinterpret_cast<const char*>(unit.data.data()), std::ssize(unit.data));
}

std::vector<int> shownMarkers(const std::vector<AccessUnit>& units, int square) {
    const test::TemporaryDirectory directory;
    const auto file = directory.path / "video.h264";
    writeFilm(file, units);

    const int width = markerBits * square;
    test::Process decoder(
        {"ffmpeg", "-loglevel", "error", "-f", "h264", "-i", file.string(), "-vsync", "passthrough",
         "-vf", "crop=" + std::to_string(width) + ":" + std::to_string(square) + ":0:0,format=gray",
         "-f", "rawvideo", "pipe:1"});
    const auto pixels = decoder.rest();
    std::vector<int> markers;
    const auto pictureSize = static_cast<std::size_t>(width * square);
    for (std::size_t picture = 0; picture + pictureSize <= pixels.size(); picture += pictureSize) {
        const auto* const middleRow = &pixels[picture + pictureSize / 2];
        int number = 0;
        for (int bit = 0; bit < markerBits; ++bit)
            number |= (middleRow[bit * square + square / 2] > 128 ? 1 : 0) << bit;
        markers.push_back(number);
    }
    return markers;
}

} // namespace bench
