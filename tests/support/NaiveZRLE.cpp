#include "support/NaiveZRLE.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace test {
namespace {

using Color = std::array<std::uint8_t, 3>;

struct Failure {
    std::string sentence;
};

class Decoder {
public:
    Decoder(std::span<const std::uint8_t> data, int width, int height)
        : data(data),
          width(width),
          picture(static_cast<std::size_t>(width * height) * 4, 255) {
        for (int y = 0; y < height; y += 64)
            for (int x = 0; x < width; x += 64)
                tile(x, y, std::min(64, width - x), std::min(64, height - y));
    }

    std::vector<std::uint8_t> pixels() && { return std::move(picture); }

private:
    std::uint8_t byte() {
        if (next == data.size())
            throw Failure{"The remote desktop sent short ZRLE data."};
        return data[next++];
    }

    Color color() {
        Color result{};
        for (auto& part : result)
            part = byte();
        return result;
    }

    int run() {
        int length = 1;
        int part = 0;
        do {
            part = byte();
            length += part;
        } while (part == 255);
        return length;
    }

    void set(int x, int y, const Color& color) {
        std::ranges::copy(color, picture.begin() + std::ptrdiff_t{4} * (y * width + x));
    }

    void tile(int left, int top, int w, int h) {
        const int s = byte();
        if ((s >= 17 && s <= 127) || s == 129)
            throw Failure{"The remote desktop sent a ZRLE tile this client does not read."};
        std::vector<Color> palette(static_cast<std::size_t>(s > 128 ? s - 128 : s > 127 ? 0 : s));
        for (auto& entry : palette)
            entry = color();
        const auto fromPalette = [&](int index) {
            if (index >= static_cast<int>(palette.size()))
                throw Failure{"The remote desktop sent a bad ZRLE palette."};
            return palette[static_cast<std::size_t>(index)];
        };
        const int bits = s <= 2 ? 1 : s <= 4 ? 2 : 4;
        int runLeft = 0;
        int packed = 0;
        Color current{};
        for (int at = 0; at < w * h; ++at) {
            if (s == 0) {
                current = color();
            } else if (s == 1) {
                current = palette[0];
            } else if (s <= 16) {
                if (at % w * bits % 8 == 0)
                    packed = byte();
                current = fromPalette(packed >> (8 - bits) & ((1 << bits) - 1));
                packed <<= bits;
            } else if (runLeft == 0 && s == 128) {
                current = color();
                runLeft = run();
            } else if (runLeft == 0) {
                const int code = byte();
                runLeft = code < 128 ? 1 : run();
                current = fromPalette(code & 127);
            }
            runLeft -= runLeft > 0 ? 1 : 0;
            set(left + at % w, top + at / w, current);
        }
    }

    std::span<const std::uint8_t> data;
    std::size_t next = 0;
    int width;
    std::vector<std::uint8_t> picture;
};

} // namespace

NaivePixels naiveZRLE(std::span<const std::uint8_t> data, int width, int height) {
    try {
        return {Decoder(data, width, height).pixels(), ""};
    } catch (const Failure& failure) {
        return {{}, failure.sentence};
    }
}

} // namespace test
