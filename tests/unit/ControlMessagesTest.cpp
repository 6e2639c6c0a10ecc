#include "app/host/ControlMessages.h"
#include "app/host/FileDescriptor.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <map>

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

TEST(ControlMessages, AListIsOfTextsOnly) {
    const auto message = controlMessage(R"({"l":["a","b"],"m":["a",1],"s":"x"})").value();
    EXPECT_EQ(stringsField(message, "l"), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(stringsField(message, "m").empty() && stringsField(message, "s").empty());
}

TEST(ControlMessages, AStartHasDefaultsAndBoundsAndWholeNumbersHoweverWritten) {
    EXPECT_FALSE(startMessage(controlMessage(R"({"t":"idr"})").value()));
    using Numbers = std::array<std::int64_t, 3>;
    for (const auto& [fields, numbers] : std::map<std::string, Numbers>{
             {R"("fps":"60","kbps":1.5)", {30, 4000, 1920}},
             {R"("fps":2e1,"kbps":300.0,"maxw":4000E-1)", {20, 300, 400}},
             {R"("fps":20.5,"kbps":99999999999999999999,"maxw":1e19)", {30, 4000, 1920}},
             {R"("fps":true,"kbps":18446744073709551615,"maxw":[400])", {30, 4000, 1920}},
             {R"("fps":0,"kbps":100,"maxw":100)", {1, 200, 320}},
             {R"("fps":120,"kbps":1e9,"maxw":9223372036854775807)", {60, 20000, 7680}}}) {
        const auto start = startMessage(controlMessage(R"({"t":"start",)" + fields + "}").value());
        EXPECT_EQ((Numbers{start->fps, start->kbps, start->maxw}), numbers);
    }
}
