#include "rfb/Inflater.h"
#include "rfb/RFBError.h"
#include "support/Deflater.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace orvel;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// What comes out, or the sentence of the error.
std::pair<Bytes, std::string> inflated(Inflater& inflater, const Bytes& input,
                                       std::ptrdiff_t expect) try {
    const auto output = inflater.inflate(input, expect);
    return {{output.begin(), output.end()}, ""};
} catch (const RFBError& error) {
    return {{}, error.message()};
}

} // namespace

TEST(Inflater, EveryRectangleIsCompleteAndBuildsOnThoseBefore) {
    std::mt19937 random(11);
    for (const int level : {0, 1, 6, 9}) {
        test::Deflater deflater(level);
        Inflater inflater;
        // Runs, noise, and what was there long before.
        Bytes all;
        for (int rectangle = 0; rectangle < 60; ++rectangle) {
            Bytes data(random() % (rectangle % 10 == 0 ? 400'000 : 20'000), 7);
            for (std::size_t at = 0; at < data.size(); ++at)
                if (at / 1000 % 3 > 0)
                    data[at] = at / 1000 % 3 == 1 || all.size() < 29'000
                                   ? static_cast<std::uint8_t>(random())
                                   : all[all.size() - 29'000 + at % 29'000];
            all.insert(all.end(), data.begin(), data.end());
            ASSERT_EQ(inflated(inflater, deflater.piece(data), std::ssize(data)).first, data);
        }
    }
}

TEST(Inflater, ToleratesMoreThanExpectedUpToALimit) {
    for (const std::size_t expect : {std::size_t{0}, std::size_t{4}, std::size_t{300'000}}) {
        for (const std::size_t excess : {0, 1, 10'000'000}) {
            Inflater inflater;
            const Bytes data(expect + 65'536 + excess, 1);
            const auto [output, failure] =
                inflated(inflater, test::Deflater().piece(data), std::ssize(Bytes(expect)));
            EXPECT_EQ(output, excess == 0 ? data : Bytes());
            EXPECT_EQ(failure, excess == 0 ? ""
                                           : "The remote desktop sent more pixels than its picture "
                                             "holds.");
        }
    }
    Inflater none(nullptr);
    EXPECT_EQ(inflated(none, {}, 4).second, "The decompressor did not start.");
}
