#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

/// Takes apart what `orvel-screen stream` or `vnc` writes: reads output frames on standard input,
/// appends the video to a file as a bare H.264 byte stream, and prints what else comes as lines.
namespace {

constexpr std::size_t videoHeader = 9; // flags and presentation time

bool readFrame(std::istream& input, char& type, std::string& payload) {
    std::array<char, 5> header{};
    if (!input.read(header.data(), header.size()))
        return false;
    type = header[0];
    std::uint32_t length = 0;
    for (std::size_t index = 1; index < header.size(); ++index)
        length = length << 8 | static_cast<std::uint8_t>(header.at(index));
    payload.resize(length);
    return static_cast<bool>(input.read(payload.data(), length));
}

void unpack(std::istream& input, std::ostream& video) {
    char type = 0;
    std::string payload;
    std::size_t pictures = 0;
    std::size_t keyFrames = 0;
    std::size_t bytes = 0;
    while (readFrame(input, type, payload)) {
        if (type != 'V') {
            std::cout << type << ' ' << payload << std::endl;
            continue;
        }
        if (payload.size() < videoHeader)
            continue;
        ++pictures;
        keyFrames += payload[0] == 1 ? 1 : 0;
        bytes += payload.size() - videoHeader;
        video.write(payload.data() + videoHeader,
                    static_cast<std::streamsize>(payload.size() - videoHeader));
    }
    std::cout << "V " << pictures << " pictures, " << keyFrames << " of them key frames, "
              << bytes / 1024 << " KiB" << std::endl;
}

} // namespace

int main(int count, char** arguments) {
    std::ofstream video(count == 2 ? arguments[1] : "", std::ios::binary);
    if (!video) {
        std::fputs("usage: orvel-unpack VIDEO.h264 < FRAMES\n", stderr);
        return 2;
    }
    unpack(std::cin, video);
    return video.flush() ? 0 : 1;
}
