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

StartMessage startOf(const std::string& line) {
    return startMessage(controlMessage(line).value()).value();
}

} // namespace

TEST(LineReader, SplitsAtLineFeedsWhateverTheLength) {
    using Lines = std::vector<std::string>;
    EXPECT_EQ(linesOf(""), Lines{});
    EXPECT_EQ(linesOf("a\n\nb"), (Lines{"a", "", "b"}));
    EXPECT_EQ(linesOf("a\r\n"), Lines{"a\r"});
    const std::string longLine(300'000, 'x');
    EXPECT_EQ(linesOf("1\n" + longLine + "\n2\n" + longLine),
              (Lines{"1", longLine, "2", longLine}));
}

TEST(LineReader, ALineThatIsTooLongIsEmptyAndTheNextOneIsNot) {
    using Lines = std::vector<std::string>;
    const std::string longest(LineReader::longest, 'x');
    EXPECT_EQ(linesOf(longest + "\nx" + longest + "\n3\n" + longest + longest + longest + "\n5\n"),
              (Lines{longest, "", "3", "", "5"}));
}

TEST(ControlMessages, DeepNestingCostsNoStack) {
    const auto depth = LineReader::longest / 2 - 8;
    const auto message =
        controlMessage(R"({"t":)" + std::string(depth, '[') + std::string(depth, ']') + "}");
    ASSERT_TRUE(message);
    EXPECT_EQ(messageType(*message), std::nullopt);
}

TEST(ControlMessages, OnlyObjectsAreMessages) {
    for (const auto* line :
         {"", "nonsense", "[1]", "1", "null", R"({"t":"idr")", R"({"t":"\xff"})"})
        EXPECT_EQ(controlMessage(line), std::nullopt) << line;
    EXPECT_EQ(messageType(controlMessage(R"({"t":"idr"})").value()), "idr");
    EXPECT_EQ(messageType(controlMessage(R"({"t":5})").value()), std::nullopt);
    EXPECT_EQ(messageType(controlMessage("{}").value()), std::nullopt);
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
    EXPECT_EQ(startMessage(controlMessage(R"({"t":"idr"})").value()).has_value(), false);
    const auto plain = startOf(R"({"t":"start","fps":"60","kbps":1.5,"maxw":"1280"})");
    EXPECT_EQ(plain.fps, 30);
    EXPECT_EQ(plain.kbps, 4000);
    EXPECT_EQ(plain.maxw, 1920);
    const auto low = startOf(R"({"t":"start","fps":0,"kbps":100,"maxw":100})");
    EXPECT_EQ(low.fps, 1);
    EXPECT_EQ(low.kbps, 200);
    EXPECT_EQ(low.maxw, 320);
    const auto high = startOf(R"({"t":"start","fps":120,"kbps":1e9,"maxw":9223372036854775807})");
    EXPECT_EQ(high.fps, 60);
    EXPECT_EQ(high.kbps, 20000);
    EXPECT_EQ(high.maxw, 7680);
}
