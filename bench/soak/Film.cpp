#include "bench/soak/Film.h"

#include <chrono>
#include <span>

namespace soak {
namespace {

constexpr int shownSide = 16;
constexpr std::size_t shownSize = std::size_t{shownSide} * shownSide;

std::vector<std::string> decoderCommand() {
    const auto side = std::to_string(shownSide);
    return {"ffmpeg",
            "-v",
            "error",
            "-err_detect",
            "explode",
            "-f",
            "h264",
            "-i",
            "pipe:0",
            "-fps_mode",
            "passthrough",
            "-vf",
            "scale=" + side + ":" + side,
            "-pix_fmt",
            "gray",
            "-f",
            "rawvideo",
            "pipe:1"};
}

} // namespace

/// One decoder for all pictures of one size.
class Film::Decoder {
public:
    void decode(std::span<const std::uint8_t> accessUnit) {
        ++given;
        process.write({reinterpret_cast<const char*>(accessUnit.data()), accessUnit.size()});
    }

    /// What it has to complain of, if anything.
    std::string finish() {
        process.closeInput();
        counter.join();
        const auto complaints = process.errorText();
        if (process.wait() != 0 || !complaints.empty())
            return "the decoder: " + complaints;
        if (bytes != given * shownSize)
            return std::to_string(bytes / shownSize) + " pictures of " + std::to_string(given);
        return "";
    }

private:
    test::Process process{decoderCommand(), {}, true};
    std::size_t given = 0;
    std::size_t bytes = 0; // by `counter` only, until it has ended
    std::jthread counter{[this] {
        for (auto chunk = process.chunk(std::chrono::hours(24)); !chunk.empty();
             chunk = process.chunk(std::chrono::hours(24)))
            bytes += chunk.size();
    }};
};

Film::Film(test::Process& program) : program(program), thread([this] { take(); }) {}

Progress Film::progress() const {
    const std::lock_guard guard(lock);
    return sum;
}

Progress Film::finish() {
    if (thread.joinable())
        thread.join();
    return progress();
}

void Film::take() {
    std::optional<Decoder> decoder;
    while (const auto frame = program.frame(std::chrono::hours(24)))
        take(*frame, decoder);
    if (decoder)
        endOf(*decoder);
}

void Film::take(const test::Frame& frame, std::optional<Decoder>& decoder) {
    if (frame.type == orvel::FrameType::announcement && decoder)
        endOf(*decoder);
    if (frame.type == orvel::FrameType::announcement)
        decoder.emplace();
    else if (frame.type == orvel::FrameType::video && decoder)
        decoder->decode(test::accessUnit(frame));
    else if (frame.type != orvel::FrameType::clipboard)
        complain({frame.payload.begin(), frame.payload.end()});

    const std::lock_guard guard(lock);
    sum.announcements += frame.type == orvel::FrameType::announcement ? 1 : 0;
    sum.pictures += frame.type == orvel::FrameType::video ? 1 : 0;
    sum.clipboards += frame.type == orvel::FrameType::clipboard ? 1 : 0;
}

void Film::endOf(Decoder& decoder) {
    if (const auto complaint = decoder.finish(); !complaint.empty())
        complain(complaint);
}

void Film::complain(const std::string& what) {
    const std::lock_guard guard(lock);
    sum.problems.push_back(what);
}

} // namespace soak
