#include "app/host/ControlMessages.h"
#include "app/host/FileDescriptor.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <limits>

using namespace orvel;

namespace {

std::vector<std::string> linesOf(const std::string& input) {
    const FileDescriptor file(memfd_create("lines", MFD_CLOEXEC));
    EXPECT_EQ(pwrite(file.get(), input.data(), input.size(), 0), std::ssize(input));
    LineReader reader(file.get());
    std::vector<std::string> lines;
    while (auto line = reader.next())
        lines.push_back(*std::move(line));
    return lines;
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (int number = 0; number < times; ++number)
        all += text;
    return all;
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
    EXPECT_TRUE(controlMessage(R"({"t":"clip","s":")" + repeated(R"([,]{\"})", 700'000) + R"("})"));
    EXPECT_FALSE(controlMessage(R"({"t":)" + repeated("[", 9999) + repeated("]", 9999) + "}"));
    for (const auto* value : {"1,", "[],", R"("",)"})
        EXPECT_FALSE(controlMessage(R"({"t":"press","mods":[)" + repeated(value, 9999) + "1]}"));
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
