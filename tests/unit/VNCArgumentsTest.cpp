#include "rfb/VNCArguments.h"
#include "app/host/FileDescriptor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>

using namespace orvel;

namespace {

VNCArguments parsed(std::vector<std::string> words) {
    words.insert(words.begin(), "vnc-test");
    std::vector<char*> pointers(words.size());
    std::ranges::transform(words, pointers.begin(), [](std::string& word) { return word.data(); });
    return vncArguments(pointers);
}

struct Reading {
    Authentication authentication;
    std::optional<std::string> left; ///< For the next reader.
};

Reading reading(const std::string& lines) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    const FileDescriptor source(ends[0]);
    {
        const FileDescriptor sink(ends[1]);
        EXPECT_EQ(write(sink.get(), lines.data(), lines.size()), std::ssize(lines));
    }
    LineReader reader(source.get());
    auto authentication = readAuth(reader);
    return {std::move(authentication), reader.next()};
}

std::optional<std::string> password(const std::string& lines) {
    return reading(lines).authentication.password;
}

} // namespace

TEST(VNCArguments, ReadsPairsByTheirPosition) {
    using Words = std::vector<std::string>;
    for (const auto& [words, host] : std::vector<std::pair<Words, std::string>>{
             {{}, ""},
             {{"--host"}, ""},
             {{"--port", "5901", "--host", " a b "}, " a b "},
             {{"word", "--host", "desk"}, ""},
             {{"some", "pair", "--host", "desk", "odd"}, "desk"},
             {{"--host", "one", "--host", "two"}, "two"},
             {{"--host", "\xff"}, "\xef\xbf\xbd"}})
        EXPECT_EQ(parsed(words).host, host);
    EXPECT_EQ(parsed({}).port, 5900);
}

TEST(VNCArguments, APortThatIsNoNumberIsTheUsualOne) {
    const std::map<std::string, std::int64_t> ports{
        {"+5901", 5901}, {"-1", -1},      {"70000", 70000}, {"", 5900},
        {"vnc", 5900},   {" 5901", 5900}, {"59x", 5900},    {"9223372036854775808", 5900}};
    for (const auto& [word, port] : ports)
        EXPECT_EQ(parsed({"--port", "1", "--port", word}).port, port) << word;
}

TEST(ReadAuth, TheLastAuthenticationCounts) {
    EXPECT_EQ(password(""), std::nullopt);
    EXPECT_EQ(password(R"({"t":"auth","password":"a"})"), "a");
    EXPECT_EQ(password("garbage\n[1]\n7\n\n{\"t\":\"auth\",\"password\":\"b\"}\n"), "b");
    EXPECT_EQ(password("{\"t\":\"auth\",\"password\":\"a\"}\n{\"t\":\"auth\"}\n"), std::nullopt);
    EXPECT_EQ(password(R"({"t":"auth","password":7})"), std::nullopt);
}

TEST(ReadAuth, HandsBackTheFirstOtherMessageAndReadsNoFurther) {
    const std::string auth = "{\"t\":\"auth\",\"password\":\"a\"}\n";
    for (const std::string other : {R"({"t":"start","fps":5})", "{}", R"({"t":1})", R"({"x":1})"}) {
        const auto [result, left] = reading(auth + other + "\nthe next line\n");
        EXPECT_EQ(result.password, "a");
        EXPECT_EQ(result.next, nlohmann::json::parse(other));
        EXPECT_EQ(left, "the next line");
    }
}
