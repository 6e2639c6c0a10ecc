#include "tools/unpack/VideoFile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

/// Takes apart what `orvel-screen stream` or `vnc` writes: reads output frames on standard input,
/// puts the video into a file, prints what else comes as lines, and in the end what it saw.
namespace {

using unpack::Microseconds;
using unpack::VideoFile;
using Clock = std::chrono::steady_clock;

constexpr std::size_t videoHeader = 9; // key flag and presentation time

std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<std::uint8_t>(byte);
    return value;
}

bool readFrame(std::istream& input, char& type, std::string& payload) {
    std::array<char, 5> header{};
    if (!input.read(header.data(), header.size()))
        return false;
    type = header[0];
    payload.resize(bigEndian({header.data() + 1, 4}));
    return static_cast<bool>(
        input.read(payload.data(), static_cast<std::streamsize>(payload.size())));
}

/// Follows the video of one stream.
class Video {
public:
    explicit Video(VideoFile& file) : file(file) {}

    void add(std::string_view payload) {
        if (payload.size() <= videoHeader)
            return;
        const auto data = payload.substr(videoHeader);
        last = Microseconds(bigEndian(payload.substr(1, videoHeader - 1)));
        if (frames++ == 0) {
            firstArrival = Clock::now();
            first = last;
            std::cout << "V first picture" << std::endl;
        }
        bytes += data.size();
        file.add({payload[0] == 1, last, {data.begin(), data.end()}});
    }

    /// A still screen sends nothing, so the last frame was shown until now. Frames from a file come
    /// faster than they were sent.
    void end() {
        if (frames == 0)
            return;
        const auto watched = std::chrono::duration_cast<Microseconds>(Clock::now() - firstArrival);
        const auto length = std::max(watched, last - first);
        file.end(first + length);
        const std::chrono::duration<double, std::milli> milliseconds = length;
        std::cout << frames << " pictures\n"
                  << std::lround(static_cast<double>(bytes) * 8 / milliseconds.count()) << " kbit/s"
                  << std::endl;
    }

private:
    VideoFile& file;
    Clock::time_point firstArrival;
    Microseconds first{0};
    Microseconds last{0};
    std::size_t frames = 0;
    std::size_t bytes = 0;
};

void unpackFrames(std::istream& input, VideoFile& file) {
    Video video(file);
    char type = 0;
    std::string payload;
    while (readFrame(input, type, payload)) {
        if (type == 'V') {
            video.add(payload);
            continue;
        }
        std::cout << type << ' ' << payload << std::endl;
        if (type == 'I') {
            const auto announcement = nlohmann::json::parse(payload);
            file.announce(announcement.at("w"), announcement.at("h"));
        }
    }
    video.end();
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2 || arguments[1][0] == '-') {
        std::fputs("usage: orvel-unpack VIDEO.mp4|VIDEO.mkv|VIDEO.h264 < FRAMES\n", stderr);
        return 2;
    }
    // Ctrl+C is for the whole pipeline. The file ends when the program before it has.
    std::signal(SIGINT, SIG_IGN);
    try {
        VideoFile file(arguments[1]);
        unpackFrames(std::cin, file);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
