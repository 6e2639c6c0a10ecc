#include "fuzz/Fuzz.h"
#include "rfb/RFBError.h"
#include "rfb/ZRLE.h"
#include "support/NaiveZRLE.h"

/// The decoder and the plainest one there is agree on every picture and every refusal.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int longestSide = 130; // two tiles and a bit
    static orvel::Scratch<std::uint32_t> scratch;
    FuzzedDataProvider input(data, size);
    const auto width = input.ConsumeIntegralInRange<int>(1, longestSide);
    const auto height = input.ConsumeIntegralInRange<int>(1, longestSide);
    const auto bytes = input.ConsumeRemainingBytes<std::uint8_t>();
    const auto expected = test::naiveZRLE(bytes, width, height);
    std::size_t seen = 0;
    try {
        orvel::zrleDecode(bytes, width, height, scratch, [&](int y, int count, auto pixels) {
            const auto rowSize = static_cast<std::size_t>(width) * 4;
            fuzz::require(pixels.size() == static_cast<std::size_t>(count) * rowSize &&
                              seen == static_cast<std::size_t>(y) * rowSize,
                          "rows are whole and come in order");
            seen += pixels.size();
            if (expected.failure.empty())
                fuzz::require(seen <= expected.pixels.size() &&
                                  std::equal(pixels.begin(), pixels.end(),
                                             expected.pixels.begin() + (seen - pixels.size())),
                              "both see the same picture");
        });
        fuzz::require(expected.failure.empty(), "what one decoder refuses the other does too");
        fuzz::require(seen == expected.pixels.size(), "the picture is whole");
    } catch (const orvel::RFBError& error) {
        fuzz::require(error.message() == expected.failure, "both refuse it for the same reason");
    }
    return 0;
}
