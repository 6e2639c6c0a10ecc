#include "app/host/ControlMessages.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <limits>
#include <thread>

using namespace orvel;

namespace {

/// Non-blocking, as a parent may have made its pipe.
std::vector<std::string> linesOf(const std::string& input) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    EXPECT_EQ(fcntl(ends[0], F_SETFL, O_NONBLOCK), 0);
    // A thread of its own, since a pipe holds less than the longest of these inputs.
    std::jthread writer([&] {
        for (std::size_t at = 0; at < input.size();)
            at += static_cast<std::size_t>(write(ends[1], input.data() + at, input.size() - at));
        close(ends[1]);
    });
    LineReader reader(ends[0]);
    std::vector<std::string> lines;
    while (auto line = reader.next())
        lines.push_back(*std::move(line));
    EXPECT_EQ(reader.next(), std::nullopt) << "the end is not the end";
    close(ends[0]);
    return lines;
}

std::optional<std::int64_t> integerIn(const std::string& value) {
    const auto message = controlMessage(R"({"n":)" + value + "}");
    return message ? integerField(*message, "n") : std::nullopt;
}

} // namespace

TEST(LineReader, SplitsAtLineFeedsAndDropsWhatIsTooLong) {
    using Lines = std::vector<std::string>;
    EXPECT_EQ(linesOf(""), Lines{});
    EXPECT_EQ(linesOf("a\n\nb\r\n"), (Lines{"a", "", "b\r"}));
    const std::string longest(LineReader::maxLength, 'x');
    EXPECT_EQ(linesOf("1\n" + longest + "\nx" + longest + "\n4\n" + longest + longest + "\n6"),
              (Lines{"1", longest, "", "4", "", "6"}));
}

TEST(ControlMessages, OnlyAnObjectAndNothingBehindItIsAMessage) {
    using namespace std::string_view_literals;
    for (const auto line : {""sv, "nonsense"sv, "[1]"sv, "null"sv, R"({"t":"idr")"sv,
                            R"({"t":"idr"}{})"sv, R"({"t":"\xff"})"sv, "{\"t\":\"idr\"}\0{"sv})
        EXPECT_EQ(controlMessage(line), std::nullopt) << line;
    EXPECT_EQ(messageType(controlMessage(R"( {"t":"idr"} )").value()), "idr");
    EXPECT_EQ(messageType(controlMessage(R"({"t":5})").value()), std::nullopt);
}

TEST(ControlMessages, MayHaveLongTextsButNotManyValues) {
    std::string text;
    for (int number = 0; number < 500'000; ++number)
        text += R"([,]{\"})";
    EXPECT_TRUE(controlMessage(R"({"t":"clip","s":")" + text + R"("})"));
    const std::string depth(100'000, '[');
    EXPECT_FALSE(controlMessage(R"({"t":)" + depth + std::string(depth.size(), ']') + "}"));
    for (const auto* value : {"1,", "[],", R"("",)"}) {
        std::string values;
        for (int number = 0; number < 100'000; ++number)
            values += value;
        EXPECT_FALSE(controlMessage(R"({"t":"press","mods":[)" + values + "1]}"));
    }
}

TEST(ControlMessages, AWholeNumberIsAnIntegerHoweverItIsWritten) {
    for (const auto* thirty : {"30", "30.0", "3e1", "300E-1"})
        EXPECT_EQ(integerIn(thirty), 30) << thirty;
    EXPECT_EQ(integerIn("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(integerIn("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    for (const auto* other : {"30.5", "true", R"("30")", "null", "[30]", "9223372036854775808",
                              "99999999999999999999", "1e19", "-1e300"})
        EXPECT_EQ(integerIn(other), std::nullopt) << other;
}

TEST(ControlMessages, AFieldOfAnotherTypeCountsAsNotGiven) {
    const auto message =
        controlMessage(R"({"s":"x","b":true,"n":2.5,"l":["a","b"],"m":["a",1]})").value();
    EXPECT_EQ(stringField(message, "s"), "x");
    EXPECT_EQ(stringField(message, "b"), std::nullopt);
    EXPECT_EQ(booleanField(message, "b"), true);
    EXPECT_EQ(booleanField(message, "n"), std::nullopt);
    EXPECT_EQ(numberField(message, "n"), 2.5);
    EXPECT_EQ(numberField(message, "b"), std::nullopt);
    EXPECT_EQ(stringsField(message, "l"), (std::vector<std::string>{"a", "b"}));
    for (const auto* key : {"m", "s", "missing"})
        EXPECT_TRUE(stringsField(message, key).empty());
}

TEST(StartMessage, TakesDefaultsAndMovesNumbersIntoTheirBounds) {
    EXPECT_FALSE(startMessage(controlMessage(R"({"t":"idr"})").value()));
    const auto numbers = [](const std::string& line) {
        const auto start = startMessage(controlMessage(line).value()).value();
        return std::array{start.fps, start.kbps, start.maxw};
    };
    EXPECT_EQ(numbers(R"({"t":"start","fps":"60","kbps":1.5,"maxw":"1280"})"),
              (std::array{30, 4000, 1920}));
    EXPECT_EQ(numbers(R"({"t":"start","fps":0,"kbps":100,"maxw":100})"), (std::array{1, 200, 320}));
    EXPECT_EQ(numbers(R"({"t":"start","fps":120,"kbps":1e9,"maxw":9223372036854775807})"),
              (std::array{60, 20000, 7680}));
}
