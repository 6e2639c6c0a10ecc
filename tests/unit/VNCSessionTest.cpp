#include "rfb/VNCSession.h"
#include "rfb/RFBError.h"
#include "support/Frames.h"
#include "support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace orvel;
using namespace test;
using nlohmann::json;

namespace {

struct Outcome {
    std::vector<test::Bytes> writes;
    std::vector<Frame> frames;
    std::string end;
};

/// A whole session: the phone says some lines, and then the server this and nothing more.
Outcome session(const RFBServer& description, const std::string& lines, const Wire& fromServer) {
    CapturedOutput output;
    Outcome outcome;
    ScriptedServer server(sending(fromServer));
    {
        VNCSession session(std::make_unique<RFBSocket>(server.client()), description, 30, 4000,
                           1280);
        EXPECT_TRUE(session.announce());
        std::istringstream input(lines);
        for (std::string line; std::getline(input, line);)
            session.handle(json::parse(line));
        try {
            session.run();
        } catch (const RFBError& error) {
            outcome.end = error.message();
        }
    }
    outcome.writes = server.writes();
    outcome.frames = output.frames();
    return outcome;
}

const RFBServer small{64, 32, "desk", "none"};

/// What the client of a screen of 1920x1080 writes when the phone says this, in hexadecimal digits.
std::vector<std::string> written(const std::string& lines) {
    std::vector<std::string> writes;
    for (const auto& write : session({1920, 1080, "desk", "none"}, lines, {}).writes) {
        std::ostringstream digits;
        for (const int byte : write)
            digits << std::hex << byte / 16 << byte % 16;
        writes.push_back(digits.str());
    }
    EXPECT_EQ(writes.back(), "03000000000007800438") << "the request for everything";
    writes.pop_back();
    return writes;
}

} // namespace

TEST(VNCSession, AnnouncesTheDesktopInASizeThatFits) {
    const auto announced = [](const RFBServer& description) {
        return session(description, "", {}).frames.front().json();
    };
    const auto expected = [](int w, int h, const json& display) {
        return json{{"w", w},         {"h", h},       {"display", "1"}, {"displays", {display}},
                    {"screen", true}, {"input", true}};
    };
    EXPECT_EQ(announced({2560, 1442, "desk", ""}),
              expected(1280, 720,
                       {{"id", "1"}, {"name", "desk"}, {"w", 2560}, {"h", 1442}, {"main", true}}));
    EXPECT_EQ(
        announced({1, 5, "", ""}),
        expected(2, 4,
                 {{"id", "1"}, {"name", "Remote desktop"}, {"w", 1}, {"h", 5}, {"main", true}}));
}

TEST(VNCSession, ForwardsTheRemoteClipboardWhenToldTo) {
    const auto forwarded = [](const std::string& on, const test::Bytes& text) {
        const auto cutText =
            Wire().u8(3).zeros(3).u32(static_cast<std::uint32_t>(text.size())).append(text);
        auto frames = session(small, R"({"t":"clipsync","on":)" + on + "}", cutText).frames;
        return frames.size() < 2 ? test::Bytes{} : frames[1].payload;
    };
    EXPECT_EQ(forwarded("true", {0xE9, 0x41}), (test::Bytes{0xC3, 0xA9, 0x41}));
    EXPECT_EQ(forwarded("true", test::Bytes(30'000, 0xFF)).size(), 49'152u);
    EXPECT_EQ(forwarded("true", test::Bytes(4'194'304, 'x')), test::Bytes(49'152, 'x'));
    for (const auto* off : {"false", R"("yes")", "true}\n{\"t\":\"clipsync\""})
        EXPECT_TRUE(forwarded(off, {0x41}).empty());
}

TEST(VNCSession, ReadsWhatItKnowsUpToWhatEndsIt) {
    const auto unasked = [](const std::string& number) {
        return "The remote desktop sent pixels in an encoding this client did not ask for (" +
               number + ").";
    };
    const std::string closed = "The remote desktop closed the connection.";
    const std::string outside = "The remote desktop sent pixels outside its screen.";
    const auto known = Wire()
                           .u8(2)                                             // a bell
                           .append(Wire().u16(0x100).u16(0).u16(2).zeros(12)) // a colour map
                           .append(solidRaw(0, 0, 4, 4, 9))
                           .append(updateOf(0, 0, 64, 32, 1).u16(1).u16(0)) // a copy from outside
                           .append(updateOf(0, 0, 65, 8193, -223));         // not a size
    for (const auto& [bytes, message] : std::vector<std::pair<Wire, std::string>>{
             {Wire(), closed},
             {{255}, "The remote desktop sent a message this client does not read (255)."},
             {{4}, "The remote desktop sent a message this client does not read (4)."},
             {updateOf(0, 0, 1, 1, 5), unasked("5")},
             {updateOf(0, 0, 1, 1, -239), unasked("-239")},
             {updateOf(60, 0, 5, 1, 0), outside},
             {updateOf(0, 31, 1, 2, 1), outside},
             {updateOf(65535, 65535, 65535, 65535, 16), outside},
             {updateOf(0, 0, 1, 1, 16).u32(67'108'865),
              "The remote desktop sent ZRLE data too large."},
             {updateOf(0, 0, 1, 1, 16).u32(67'108'864), closed},
             {updateOf(0, 0, 1, 1, 16).u32(3).zeros(3), "The remote desktop sent short ZRLE data."},
             {Wire().u32(0x03000000).u32(4'194'305),
              "The remote desktop sent a clipboard too large."},
             {Wire().u32(0x03000000).u32(4'194'304), closed}}) {
        const auto [writes, frames, end] = session(small, "", Wire(known).append(bytes));
        EXPECT_EQ(end, message);
        // Everything first, and then the changes after each update.
        const test::Bytes first{3, 0, 0, 0, 0, 0, 0, 64, 0, 32};
        const test::Bytes next{3, 1, 0, 0, 0, 0, 0, 64, 0, 32};
        EXPECT_EQ(writes, (std::vector{first, next, next, next}));
        EXPECT_EQ(std::ranges::count(frames, FrameType::announcement, &Frame::type), 1);
    }
}

TEST(VNCInput, TurnsWhatThePhoneSaysIntoTheMessagesOfAClient) {
    using Writes = std::vector<std::string>;
    for (const auto& [lines, writes] : std::vector<std::pair<std::string, Writes>>{
             // Within the screen, whatever the fractions, and with what is held.
             {R"({"t":"move","x":1,"y":1})", {"0500077f0437"}},
             {R"({"t":"move","x":-3,"y":7})", {"050000000437"}},
             {R"({"t":"move","x":"1","y":true})", {"050003bf021b"}},
             {R"({"t":"down"}
{"t":"move","x":0,"y":0}
{"t":"down","b":"back"}
{"t":"down","b":"right"}
{"t":"up","b":"left"})",
              {"050103c0021c", "050100000000", "050500000000", "050400000000"}},
             {R"({"t":"click","b":"middle","n":2})", {"050203c0021c", "050003c0021c"}},
             // By clicks of 40 pixels, the rest kept.
             {R"({"t":"scroll","dy":39}
{"t":"scroll","dy":1})",
              {"051003c0021c", "050003c0021c"}},
             {R"({"t":"scroll","dy":-79})", {"050803c0021c", "050003c0021c"}},
             {R"({"t":"down"}
{"t":"scroll","dx":-45,"dy":45}
{"t":"scroll","dx":84})",
              {"050103c0021c", "051103c0021c", "050103c0021c", "052103c0021c", "050103c0021c",
               "054103c0021c", "050103c0021c"}},
             // Keys by their names or their one character, within their modifiers.
             {R"({"t":"press","k":"return"})", {"040100000000ff0d", "040000000000ff0d"}},
             {R"({"t":"press","k":"delete"})", {"040100000000ff08", "040000000000ff08"}},
             {R"({"t":"press","k":"c","mods":["cmd","fn","shift"]})",
              {"040100000000ffeb", "040100000000ffe1", "0401000000000063", "0400000000000063",
               "040000000000ffe1", "040000000000ffeb"}},
             {R"({"t":"press","k":"€"})", {"04010000010020ac", "04000000010020ac"}},
             {R"({"t":"press","k":"A","mods":"shift"})", {"0401000000000041", "0400000000000041"}},
             {R"({"t":"press","k":"ab","mods":["ctrl"]})", {}},
             {R"({"t":"text","s":"é\n\t😀"})",
              {"04010000000000e9", "04000000000000e9", "040100000000ff0d", "040000000000ff0d",
               "040100000000ff09", "040000000000ff09", "040100000101f600", "040000000101f600"}},
             // Characters that ISO 8859-1 has not are question marks.
             {R"({"t":"clip","s":"naïve €"})", {"06000000000000076e61ef7665203f"}},
             {R"({"t":"clip"})", {"0600000000000000"}},
             {"{}\n{\"t\":\"press\"}\n{\"t\":\"text\"}\n{\"t\":\"nothing\"}", {}}})
        EXPECT_EQ(written(lines), writes) << lines;

    const auto many = [](const std::string& type) {
        return written(json{{"t", type}, {"s", std::string(60'000, 'x')}}.dump());
    };
    EXPECT_EQ(many("text").size(), 4000u);
    EXPECT_EQ(many("clip").front().size(), 2 * (8u + 49'152u));
    EXPECT_EQ(written(R"({"t":"scroll","dy":1e18})").size(), 1000u);
}
