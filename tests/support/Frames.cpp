#include "support/Frames.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace test {
namespace {

constexpr std::size_t videoHeader = 9; // flags and presentation time

std::uint64_t bigEndian(std::span<const std::uint8_t> bytes) {
    std::uint64_t value = 0;
    for (const auto byte : bytes)
        value = value << 8 | byte;
    return value;
}

} // namespace

std::optional<Frame> takeFrame(std::vector<std::uint8_t>& bytes) {
    constexpr std::size_t header = 5;
    if (bytes.size() < header)
        return std::nullopt;
    const auto length = bigEndian(std::span(bytes).subspan(1, 4));
    if (bytes.size() < header + length)
        return std::nullopt;
    const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(header + length);
    Frame frame{static_cast<orvel::FrameType>(bytes[0]), {bytes.begin() + header, end}};
    bytes.erase(bytes.begin(), end);
    return frame;
}

std::vector<int> Video::unitTypes() const {
    std::vector<int> types;
    for (const auto& unit : units)
        types.push_back(unit.empty() ? -1 : unit[0] & 31);
    types.erase(std::unique(types.begin(), types.end()), types.end());
    return types;
}

std::span<const std::uint8_t> accessUnit(const Frame& frame) {
    return std::span(frame.payload).subspan(std::min(videoHeader, frame.payload.size()));
}

Video video(const Frame& frame) {
    constexpr std::array<std::uint8_t, 4> startCode{0, 0, 0, 1};
    const std::span payload(frame.payload);
    auto rest = accessUnit(frame);
    if (frame.type != orvel::FrameType::video || rest.size() < startCode.size() ||
        !std::ranges::equal(rest.first(startCode.size()), startCode))
        throw std::runtime_error("a frame that holds no access unit");
    Video video{payload[0] == 1, bigEndian(payload.subspan(1, 8)), {rest.begin(), rest.end()}, {}};
    while (rest.size() >= 4) {
        rest = rest.subspan(4);
        const auto next =
            std::search(rest.begin(), rest.end(), startCode.begin(), startCode.end()) -
            rest.begin();
        video.units.emplace_back(rest.begin(), rest.begin() + next);
        rest = rest.subspan(static_cast<std::size_t>(next));
    }
    return video;
}

CapturedOutput::CapturedOutput()
    : memory(memfd_create("output", MFD_CLOEXEC)),
      original(dup(STDOUT_FILENO)) {
    orvel::outQueue().sync([] {});
    dup2(memory.get(), STDOUT_FILENO);
}

CapturedOutput::~CapturedOutput() {
    orvel::outQueue().sync([] {});
    dup2(original.get(), STDOUT_FILENO);
}

std::vector<Frame> CapturedOutput::frames() {
    orvel::outQueue().sync([] {});
    struct stat status {};
    fstat(memory.get(), &status);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size));
    if (pread(memory.get(), bytes.data(), bytes.size(), 0) != status.st_size)
        throw std::runtime_error("what was written can't be read");
    std::vector<Frame> frames;
    while (auto frame = takeFrame(bytes))
        frames.push_back(*std::move(frame));
    if (!bytes.empty())
        throw std::runtime_error("bytes behind the last whole frame");
    return frames;
}

} // namespace test
