#include "fuzz/Fuzz.h"
#include "rfb/RFBError.h"
#include "rfb/ZRLE.h"

#include <array>
#include <string>

namespace {

/// ZRLE once more, a pixel at a time and as plainly as can be, to compare with.
class PlainDecoder {
public:
    PlainDecoder(std::span<const std::uint8_t> data, int width, int height)
        : data(data),
          width(width),
          pixels(static_cast<std::size_t>(width * height) * 4, 255) {
        for (int y = 0; y < height; y += 64)
            for (int x = 0; x < width; x += 64)
                if (failure.empty())
                    tile(x, y, std::min(64, width - x), std::min(64, height - y));
    }

    /// The sentence, if the data was refused.
    const std::string& refusal() const { return failure; }
    /// Blue, green, red, 255.
    const fuzz::Bytes& picture() const { return pixels; }

private:
    using Colour = std::array<std::uint8_t, 3>;

    void fail(const std::string& what) {
        if (failure.empty())
            failure = "The remote desktop sent " + what;
    }
    int byte() {
        if (next < data.size())
            return data[next++];
        fail("short ZRLE data.");
        return 0;
    }
    Colour colour() {
        Colour result{};
        for (auto& part : result)
            part = static_cast<std::uint8_t>(byte());
        return result;
    }
    int runLength() {
        int length = 1;
        int part = 255;
        while (part == 255)
            length += part = byte();
        return length;
    }

    void tile(int left, int top, int w, int h) {
        const int s = byte();
        if ((s >= 17 && s <= 127) || s == 129)
            return fail("a ZRLE tile this client does not read.");
        std::vector<Colour> palette(static_cast<std::size_t>(s > 128 ? s - 128 : s > 127 ? 0 : s));
        for (auto& entry : palette)
            entry = colour();
        const auto ofPalette = [&](int index) {
            if (index < std::ssize(palette))
                return palette[static_cast<std::size_t>(index)];
            fail("a bad ZRLE palette.");
            return Colour{};
        };
        const int bits = s <= 2 ? 1 : s <= 4 ? 2 : 4;
        int runLeft = 0;
        int packed = 0;
        Colour current{};
        for (int at = 0; at < w * h && failure.empty(); ++at) {
            if (s == 0) {
                current = colour();
            } else if (s == 1) {
                current = palette[0];
            } else if (s <= 16) {
                if (at % w * bits % 8 == 0)
                    packed = byte();
                current = ofPalette(packed >> (8 - bits) & ((1 << bits) - 1));
                packed <<= bits;
            } else if (runLeft-- == 0) {
                const int code = s == 128 ? 0 : byte();
                if (s == 128)
                    current = colour();
                runLeft = (s == 128 || code >= 128 ? runLength() : 1) - 1;
                if (s != 128)
                    current = ofPalette(code & 127);
            }
            std::ranges::copy(current,
                              pixels.begin() + 4 * ((top + at / w) * width + left + at % w));
        }
    }

    std::span<const std::uint8_t> data;
    std::size_t next = 0;
    int width;
    fuzz::Bytes pixels;
    std::string failure;
};

} // namespace

/// The decoder and the plainest one there is agree on every picture and every refusal.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int maxSide = 130; // two tiles and a bit
    static orvel::Scratch<std::uint32_t> scratch;
    FuzzedDataProvider input(data, size);
    const auto width = input.ConsumeIntegralInRange<int>(1, maxSide);
    const auto height = input.ConsumeIntegralInRange<int>(1, maxSide);
    const auto bytes = input.ConsumeRemainingBytes<std::uint8_t>();
    const PlainDecoder plain(bytes, width, height);
    fuzz::Bytes seen;
    std::string refusal;
    try {
        orvel::zrleDecode(bytes, width, height, scratch, [&](int y, int count, auto pixels) {
            const auto rowSize = static_cast<std::size_t>(width) * 4;
            fuzz::require(pixels.size() == static_cast<std::size_t>(count) * rowSize &&
                              seen.size() == static_cast<std::size_t>(y) * rowSize,
                          "rows are whole and come in order");
            seen.insert(seen.end(), pixels.begin(), pixels.end());
        });
    } catch (const orvel::RFBError& error) {
        refusal = error.message();
    }
    fuzz::require(refusal == plain.refusal(), "both refuse it for the same reason");
    fuzz::require(!refusal.empty() || seen == plain.picture(), "both see the same picture");
    return 0;
}
