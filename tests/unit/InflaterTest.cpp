#include "rfb/Inflater.h"
#include "rfb/RFBError.h"
#include "support/Deflater.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace orvel;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr const char* damaged = "The remote desktop's pixels did not decompress.";
constexpr const char* tooMuch = "The remote desktop sent more pixels than its picture holds.";

Bytes inflated(Inflater& inflater, std::span<const std::uint8_t> input, std::ptrdiff_t expect) {
    // In memory that ends where the input ends, so that reading beyond it shows.
    const auto exact = std::make_unique<std::uint8_t[]>(input.size());
    std::ranges::copy(input, exact.get());
    const auto output = inflater.inflate({exact.get(), input.size()}, expect);
    return {output.begin(), output.end()};
}

std::string failure(Inflater& inflater, std::span<const std::uint8_t> input,
                    std::ptrdiff_t expect) {
    try {
        inflated(inflater, input, expect);
    } catch (const RFBError& error) {
        EXPECT_EQ(error.code(), "remote_protocol");
        return error.message();
    }
    return "";
}

/// Something like pixels: runs, repetitions from afar and noise.
Bytes content(std::mt19937& random, std::size_t size) {
    Bytes bytes;
    while (bytes.size() < size) {
        const auto length = 1 + random() % 3000;
        const auto kind = random() % 3;
        for (std::size_t at = 0; at < length; ++at)
            bytes.push_back(kind == 0 ? std::uint8_t{7}
                            : kind == 1 || bytes.size() < 30'000
                                ? static_cast<std::uint8_t>(random())
                                : bytes[bytes.size() - 29'000]);
    }
    bytes.resize(size);
    return bytes;
}

} // namespace

TEST(Inflater, EveryRectangleIsCompleteAndBuildsOnThoseBefore) {
    std::mt19937 random(11);
    for (const int level : {0, 1, 6, 9}) {
        test::Deflater deflater(level);
        Inflater inflater;
        for (int rectangle = 0; rectangle < 60; ++rectangle) {
            const auto data = content(random, random() % (rectangle % 10 == 0 ? 400'000 : 20'000));
            ASSERT_EQ(inflated(inflater, deflater.piece(data), std::ssize(data)), data);
        }
    }
}

TEST(Inflater, ItDoesNotMatterWhereTheStreamIsCut) {
    std::mt19937 random(12);
    const auto data = content(random, 300'000);
    const auto stream = test::Deflater().piece(data);
    for (const unsigned longest : {1, 20, 20'000}) {
        Inflater inflater;
        Bytes output;
        for (std::span<const std::uint8_t> rest(stream); !rest.empty();) {
            const auto count = std::min<std::size_t>(rest.size(), random() % (longest + 1));
            const auto part = inflated(inflater, rest.first(count), std::ssize(data));
            output.insert(output.end(), part.begin(), part.end());
            rest = rest.subspan(count);
        }
        ASSERT_EQ(output, data);
    }
}

TEST(Inflater, MoreThanExpectedIsToleratedUpToALimit) {
    for (const std::size_t expect : {std::size_t{0}, std::size_t{4}, std::size_t{300'000}}) {
        const Bytes most(expect + 65'536, 1);
        Inflater inflater;
        EXPECT_EQ(
            inflated(inflater, test::Deflater().piece(most), static_cast<std::ptrdiff_t>(expect)),
            most);
        for (const std::size_t excess : {std::size_t{1}, std::size_t{10'000'000}}) {
            Inflater other;
            EXPECT_EQ(failure(other, test::Deflater().piece(Bytes(most.size() + excess)),
                              static_cast<std::ptrdiff_t>(expect)),
                      tooMuch);
        }
    }
}

TEST(Inflater, AtTheEndOfTheStreamItReturnsWhatIsThere) {
    const Bytes data(1000, 5);
    Inflater inflater;
    EXPECT_EQ(inflated(inflater, test::Deflater().end(data), 1000), data);
    EXPECT_TRUE(inflated(inflater, data, 1000).empty());
}

TEST(Inflater, SaysThatItDidNotStart) {
    Inflater inflater(nullptr);
    EXPECT_EQ(failure(inflater, {}, 4), "The decompressor did not start.");
}

TEST(Inflater, DamageIsAnErrorOrOtherPixelsButNothingWorse) {
    std::mt19937 random(14);
    const auto data = content(random, 20'000);
    const auto stream = test::Deflater().piece(data);
    int refused = 0;
    for (int round = 0; round < 2000; ++round) {
        auto broken = stream;
        for (auto bits = 1 + random() % 4; bits > 0; --bits)
            broken[2 + random() % (broken.size() - 2)] ^=
                static_cast<std::uint8_t>(1u << random() % 8);
        Inflater inflater;
        const auto message = failure(inflater, broken, std::ssize(data));
        EXPECT_TRUE(message.empty() || message == damaged || message == tooMuch) << message;
        refused += message.empty() ? 0 : 1;
    }
    EXPECT_GT(refused, 0);
}
