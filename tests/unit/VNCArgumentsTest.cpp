#include "rfb/VNCArguments.h"
#include "app/HostChannel.h"
#include "rfb/VNCTestCommand.h"
#include "support/ScriptedServer.h"
#include "support/Wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

using namespace orvel;
using namespace test;

namespace {

VNCArguments parsed(std::vector<std::string> words) {
    words.insert(words.begin(), "vnc-test");
    std::vector<char*> pointers(words.size());
    std::ranges::transform(words, pointers.begin(), [](std::string& word) { return word.data(); });
    return vncArguments(pointers);
}

/// Reads what the lines hold, and says what is left for the next reader.
Authentication authentication(const std::string& lines, std::optional<std::string>* left) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    const FileDescriptor reading(ends[0]);
    {
        const FileDescriptor writing(ends[1]);
        EXPECT_EQ(write(writing.get(), lines.data(), lines.size()),
                  static_cast<ssize_t>(lines.size()));
    }
    LineReader reader(reading.get());
    auto result = readAuth(reader);
    if (left)
        *left = reader.next();
    return result;
}

std::optional<std::string> password(const std::string& lines) {
    return authentication(lines, nullptr).password;
}

} // namespace

TEST(VNCArguments, ReadsPairsByTheirPosition) {
    EXPECT_EQ(parsed({}).host, "");
    EXPECT_EQ(parsed({}).port, 5900);
    EXPECT_EQ(parsed({"--host"}).host, "");
    EXPECT_EQ(parsed({"--port", "5901", "--host", " a b "}).host, " a b ");
    EXPECT_EQ(parsed({"--port", "5901", "--host", "desk"}).port, 5901);
    EXPECT_EQ(parsed({"word", "--host", "desk"}).host, "");
    EXPECT_EQ(parsed({"some", "pair", "--host", "desk", "odd"}).host, "desk");
    EXPECT_EQ(parsed({"--host", "one", "--host", "two"}).host, "two");
    EXPECT_EQ(parsed({"--host", "\xff"}).host, "\xef\xbf\xbd");
}

TEST(VNCArguments, APortThatIsNoNumberIsTheUsualOne) {
    for (const auto& [word, port] :
         std::vector<std::pair<std::string, std::int64_t>>{{"+5901", 5901},
                                                           {"-1", -1},
                                                           {"70000", 70000},
                                                           {"", 5900},
                                                           {"vnc", 5900},
                                                           {" 5901", 5900},
                                                           {"59x", 5900},
                                                           {"9223372036854775808", 5900}})
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
        std::optional<std::string> left;
        const auto result = authentication(auth + other + "\nthe next line\n", &left);
        EXPECT_EQ(result.password, "a");
        EXPECT_EQ(result.next, nlohmann::json::parse(other));
        EXPECT_EQ(left, "the next line");
    }
}

TEST(Probe, DescribesTheDesktopOrTheFailure) {
    auto good = Wire().text("RFB 003.008\n").u8(1).u8(1).u32(0).u16(800).u16(600).zeros(16);
    ListeningServer server(sending(good.string("M\xfcller's desk")), {.dribble = true});
    EXPECT_EQ(probe({"127.0.0.1", server.port()}, std::nullopt),
              (nlohmann::json{{"ok", true},
                              {"name", "M\xef\xbf\xbdller's desk"},
                              {"w", 800},
                              {"h", 600},
                              {"security", "none"}}));

    const std::string reason("A\0way\xff!", 7);
    ListeningServer rude(sending(Wire().text("RFB 003.003\n").u32(0).string(reason)));
    const auto refusal = probe({"127.0.0.1", rude.port()}, std::nullopt);
    EXPECT_EQ(refusal, (nlohmann::json{{"ok", false},
                                       {"error", "remote_protocol"},
                                       {"message", std::string("A\0way\xef\xbf\xbd!", 9)}}));
    EXPECT_NE(serialized(refusal), (orvel::Bytes{'{', '}'}));
}
