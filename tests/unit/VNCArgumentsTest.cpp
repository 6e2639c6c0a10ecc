#include "rfb/VNCArguments.h"
#include "app/host/FileDescriptor.h"

#include <gtest/gtest.h>

#include <array>

using namespace orvel;

TEST(VNCArguments, ReadsPairsByTheirPosition) {
    struct Case {
        std::vector<std::string> words;
        std::string host;
        std::int64_t port = 5900;
    };
    for (auto [words, host, port] :
         {Case{{}, ""},
          {{"--host"}, ""},
          {{"--port", "5901", "--host", " a b "}, " a b ", 5901},
          {{"word", "--host", "desk"}, ""},
          {{"some", "pair", "--host", "desk", "odd"}, "desk"},
          {{"--host", "one", "--port", "1", "--port", "2", "--host", "two"}, "two", 2},
          {{"--host", "\xff", "--port", "+5901"}, "\xef\xbf\xbd", 5901},
          {{"--port", "-1"}, "", -1},
          {{"--port", "1", "--port", ""}, ""},
          {{"--port", " 5901"}, ""},
          {{"--port", "59x"}, ""},
          {{"--port", "9223372036854775808"}, ""}}) {
        words.insert(words.begin(), "vnc-test");
        std::vector<char*> pointers;
        for (auto& word : words)
            pointers.push_back(word.data());
        const auto parsed = vncArguments(pointers);
        EXPECT_EQ(parsed.host, host) << words.back();
        EXPECT_EQ(parsed.port, port) << words.back();
    }
}

TEST(ReadAuth, TakesTheLastPasswordInFrontOfTheFirstOtherMessageAndReadsNoFurther) {
    const std::string auth = R"({"t":"auth","password":"a"})";
    using Password = std::optional<std::string>;
    for (const auto& [lines, password, other] :
         std::vector<std::tuple<std::string, Password, std::string>>{
             {auth, "a", ""},
             {"garbage\n[1]\n7\n\n" + auth, "a", R"({"t":"start","fps":5})"},
             {auth + "\n" + R"({"t":"auth"})", std::nullopt, "{}"},
             {auth + "\n" + R"({"t":"auth","password":7})", std::nullopt, R"({"t":1})"},
             {"", std::nullopt, R"({"x":1})"}}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        const FileDescriptor source(ends[0]);
        auto text = lines + "\n" + other;
        text += other.empty() ? "" : "\nthe next line";
        ASSERT_EQ(write(ends[1], text.data(), text.size()), std::ssize(text));
        close(ends[1]);
        LineReader reader(source.get());
        const auto [found, next] = readAuth(reader);
        EXPECT_EQ(found, password) << text;
        EXPECT_EQ(next ? next->dump() : "",
                  other.empty() ? "" : nlohmann::json::parse(other).dump());
        EXPECT_EQ(reader.next(), other.empty() ? std::nullopt : Password("the next line"));
    }
}
