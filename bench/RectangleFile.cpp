#include "bench/RectangleFile.h"

#include "app/host/BigEndian.h"

#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>

namespace bench {

void writeRectangles(const Rectangles& rectangles, const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    const auto put = [&](std::span<const std::uint8_t> bytes) {
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    };
    for (const auto& rectangle : rectangles) {
        for (const int value : {rectangle.x, rectangle.y, rectangle.width, rectangle.height})
            put(orvel::be16(value));
        put(orvel::be32(static_cast<std::uint32_t>(rectangle.data.size())));
        put(rectangle.data);
    }
    if (!file.flush())
        throw std::runtime_error("could not write " + path);
}

Rectangles readRectangles(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    std::span<const std::uint8_t> rest(bytes);
    const auto take = [&](std::size_t count) {
        if (count > rest.size())
            throw std::runtime_error("no whole recording: " + path);
        const auto taken = rest.first(count);
        rest = rest.subspan(count);
        return taken;
    };
    const auto u16 = [&] { return static_cast<int>(orvel::fromBigEndian(take(2))); };
    Rectangles rectangles;
    do {
        Rectangle rectangle{u16(), u16(), u16(), u16(), {}};
        const auto data = take(orvel::fromBigEndian(take(4)));
        rectangle.data.assign(data.begin(), data.end());
        rectangles.push_back(std::move(rectangle));
    } while (!rest.empty());
    return rectangles;
}

} // namespace bench
