#include "rfb/VNCSession.h"
#include "rfb/RFBError.h"
#include "support/Frames.h"
#include "support/Process.h"
#include "support/ScriptedServer.h"
#include "support/Updates.h"

#include <gtest/gtest.h>

using namespace orvel;
using namespace test;

namespace {

constexpr int width = 64;
constexpr int height = 32;

RFBServer description(int w = width, int h = height, const std::string& name = "desk") {
    return {w, h, name, "none"};
}

/// A session with a server that sends some bytes and then nothing more.
class Session {
public:
    explicit Session(Script script, const RFBServer& server = description(), int fps = 30,
                     int maxw = 1920)
        : server(std::move(script)),
          session(std::make_unique<RFBSocket>(this->server.client()), server, fps, 4000, maxw) {}

    VNCSession* operator->() { return &session; }

    /// Runs to the end and says what ended it.
    std::string runsInto() {
        try {
            session.run();
        } catch (const RFBError& error) {
            EXPECT_EQ(error.code(), "remote_protocol");
            return error.message();
        }
    }

private:
    ScriptedServer server;
    VNCSession session;
};

/// What the client writes while it handles messages of the phone, write by write.
std::vector<test::Bytes> written(const std::vector<std::string>& messages, int w = 1920,
                                 int h = 1080) {
    ScriptedServer server([](ServerSide& side) { side.finish(); });
    {
        VNCSession session(std::make_unique<RFBSocket>(server.client()), description(w, h), 30,
                           4000, 1920);
        for (const auto& message : messages)
            session.handle(nlohmann::json::parse(message));
    }
    return server.writes();
}

test::Bytes pointer(int mask, int x = 960, int y = 540) {
    return Wire().u8(5).u8(mask).u16(x).u16(y);
}

test::Bytes key(std::uint32_t symbol, bool down) {
    return Wire().u8(4).u8(down ? 1 : 0).u16(0).u32(symbol);
}

using Writes = std::vector<test::Bytes>;

Writes typed(const std::vector<std::uint32_t>& symbols) {
    Writes writes;
    for (const auto symbol : symbols)
        writes.insert(writes.end(), {key(symbol, true), key(symbol, false)});
    return writes;
}

const std::string closed = "The remote desktop closed the connection.";
const std::string outside = "The remote desktop sent pixels outside its screen.";

test::Bytes request(bool incremental, int w = width, int h = height) {
    return Wire().u8(3).u8(incremental ? 1 : 0).u16(0).u16(0).u16(w).u16(h);
}

std::vector<Frame> ofType(const std::vector<Frame>& frames, FrameType type) {
    std::vector<Frame> result;
    std::ranges::copy_if(frames, std::back_inserter(result),
                         [&](const Frame& frame) { return frame.type == type; });
    return result;
}

} // namespace

TEST(VNCSession, AsksForEverythingFirstAndThenForChangesAfterEachUpdate) {
    Writes writes;
    {
        Session session([&](ServerSide& server) {
            writes.push_back(server.receive());
            server.send(Wire().u8(2));                               // a bell
            server.send(Wire().u8(1).u8(0).u16(0).u16(2).zeros(12)); // a colour map
            server.send(update(0));
            writes.push_back(server.receive());
            server.send(solidRaw(0, 0, 4, 4, 9));
            writes.push_back(server.receive());
        });
        EXPECT_EQ(session.runsInto(), closed);
    }
    EXPECT_EQ(writes, (Writes{request(false), request(true), request(true)}));
}

TEST(VNCSession, AnnouncesTheDesktopInASizeThatFits) {
    const auto announced = [](int w, int h, const std::string& name) {
        CapturedOutput output;
        Session session([](ServerSide& server) { server.finish(); }, description(w, h, name), 30,
                        1280);
        EXPECT_TRUE(session->announce());
        return output.frames().front().json();
    };
    const auto json = [](int w, int h, const nlohmann::json& display) {
        return nlohmann::json{{"w", w},         {"h", h},
                              {"display", "1"}, {"displays", {display}},
                              {"screen", true}, {"input", true}};
    };
    EXPECT_EQ(
        announced(2560, 1442, "desk"),
        json(1280, 720, {{"id", "1"}, {"name", "desk"}, {"w", 2560}, {"h", 1442}, {"main", true}}));
    EXPECT_EQ(
        announced(1, 5, ""),
        json(2, 4, {{"id", "1"}, {"name", "Remote desktop"}, {"w", 1}, {"h", 5}, {"main", true}}));
}

TEST(VNCSession, ANewSizeIsAnnouncedOnceAndBeginsWithAKeyFrame) {
    CapturedOutput output;
    Session session([&](ServerSide& server) {
        server.send(solidRaw(0, 0, width, height, 40));
        eventually([&] { return output.frames().size() >= 2; });
        auto resizing = update(4);
        rectangle(resizing, 0, 0, 10, 10, -223);
        rectangle(resizing, 0, 0, 96, 48, -223);
        rectangle(resizing, 0, 0, 100, 8193, -223);     // not a size
        rectangle(resizing, 90, 40, 4, 4, 0).zeros(64); // would not fit the old screen
        server.send(resizing);
        eventually([&] { return ofType(output.frames(), FrameType::video).size() >= 2; });
        auto ignored = updateOf(0, 0, 0, 100, -223);
        server.send(ignored);
    });
    session->announce();
    EXPECT_EQ(session.runsInto(), closed);
    const auto frames = output.frames();
    const auto announcements = ofType(frames, FrameType::announcement);
    ASSERT_EQ(announcements.size(), 2u);
    EXPECT_EQ(announcements[1].json()["w"], 96);
    EXPECT_EQ(announcements[1].json()["h"], 48);
    const auto second = std::ranges::find_if(
        frames, [&](const Frame& frame) { return frame.payload == announcements[1].payload; });
    ASSERT_NE(second + 1, frames.end());
    EXPECT_TRUE(video(*(second + 1)).key);
}

TEST(VNCSession, ForwardsTheRemoteClipboardWhenToldTo) {
    const auto forwarded = [](bool on, const test::Bytes& text) {
        CapturedOutput output;
        Session session(sending(
            Wire().u8(3).zeros(3).u32(static_cast<std::uint32_t>(text.size())).append(text)));
        if (on)
            session->handle({{"t", "clipsync"}, {"on", true}});
        EXPECT_EQ(session.runsInto(), closed);
        return output.frames();
    };
    EXPECT_TRUE(forwarded(false, {0x41}).empty());
    const auto frames = forwarded(true, {0xE9, 0x41});
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].type, FrameType::clipboard);
    EXPECT_EQ(frames[0].payload, (test::Bytes{0xC3, 0xA9, 0x41}));
    EXPECT_EQ(forwarded(true, test::Bytes(30'000, 0xFF))[0].payload.size(), 49'152u);
    EXPECT_EQ(forwarded(true, test::Bytes(4'194'304, 'x'))[0].payload, test::Bytes(49'152, 'x'));
}

TEST(VNCSession, WhatItDoesNotReadEndsIt) {
    const auto unasked = [](const std::string& number) {
        return "The remote desktop sent pixels in an encoding this client did not ask for (" +
               number + ").";
    };
    const std::vector<std::pair<test::Bytes, std::string>> cases{
        {Wire().u8(255), "The remote desktop sent a message this client does not read (255)."},
        {Wire().u8(4), "The remote desktop sent a message this client does not read (4)."},
        {updateOf(0, 0, 1, 1, 5), unasked("5")},
        {updateOf(0, 0, 1, 1, -239), unasked("-239")},
        {updateOf(60, 0, 5, 1, 0), outside},
        {updateOf(0, 31, 1, 2, 1), outside},
        {updateOf(65535, 65535, 65535, 65535, 16), outside},
        {updateOf(0, 0, 1, 1, 16).u32(67'108'865), "The remote desktop sent ZRLE data too large."},
        {updateOf(0, 0, 1, 1, 16).u32(67'108'864), closed},
        {updateOf(0, 0, 1, 1, 16).u32(3).zeros(3), "The remote desktop sent short ZRLE data."},
        {Wire().u8(3).zeros(3).u32(4'194'305), "The remote desktop sent a clipboard too large."},
        {Wire().u8(3).zeros(3).u32(4'194'304), closed},
    };
    for (const auto& [bytes, message] : cases) {
        Session session(sending(bytes));
        EXPECT_EQ(session.runsInto(), message);
    }
}

TEST(VNCSession, StoppingEndsTheLoopAndTheVideoOnce) {
    CapturedOutput output;
    Session session([&](ServerSide& server) {
        server.send(solidRaw(0, 0, width, height, 40));
        while (!server.receive().empty()) {
        }
    });
    session->announce();
    std::jthread stopper([&] {
        eventually([&] { return output.frames().size() >= 2; });
        session->stop();
        session->stop();
    });
    EXPECT_EQ(session.runsInto(), closed);
    stopper.join();
    const auto count = output.frames().size();
    EXPECT_FALSE(session->announce());
    session->changed();
    session->stop();
    EXPECT_EQ(output.frames().size(), count);
}

TEST(VNCInput, MovesWithinTheScreenAndKeepsWhatIsHeld) {
    EXPECT_EQ(written({R"({"t":"move","x":1,"y":1})", R"({"t":"move","x":-3,"y":7})",
                       R"({"t":"move"})", R"({"t":"move","x":"1","y":true})"}),
              (Writes{pointer(0, 1919, 1079), pointer(0, 0, 1079), pointer(0, 959, 539),
                      pointer(0, 959, 539)}));
    EXPECT_EQ(
        written({R"({"t":"down"})", R"({"t":"move","x":0,"y":0})", R"({"t":"down","b":"back"})",
                 R"({"t":"down","b":"right"})", R"({"t":"up","b":"left"})"}),
        (Writes{pointer(1), pointer(1, 0, 0), pointer(5, 0, 0), pointer(4, 0, 0)}));
    EXPECT_EQ(written({R"({"t":"click","b":"right","n":2})", R"({"t":"click","b":"x"})"}),
              (Writes{pointer(4), pointer(0)}));
}

TEST(VNCInput, ScrollsByClicksAndKeepsTheRest) {
    const Writes down{pointer(16), pointer(0)};
    const Writes up{pointer(8), pointer(0)};
    EXPECT_EQ(written({R"({"t":"scroll","dy":100})"}).size(), 4u);
    EXPECT_EQ(written({R"({"t":"scroll","dy":39})"}).size(), 0u);
    EXPECT_EQ(written({R"({"t":"scroll","dy":39})", R"({"t":"scroll","dy":1})"}), down);
    EXPECT_EQ(written({R"({"t":"scroll","dy":-39})", R"({"t":"scroll","dy":-1})"}), up);
    EXPECT_EQ(written({R"({"t":"down"})", R"({"t":"scroll","dx":-45,"dy":45})"}),
              (Writes{pointer(1), pointer(17), pointer(1), pointer(33), pointer(1)}));
    EXPECT_EQ(written({R"({"t":"scroll","dy":1e18})"}).size(), 1000u);
}

TEST(VNCInput, PressesKeysWithinTheirModifiers) {
    EXPECT_EQ(written({R"({"t":"press","k":"return"})"}), typed({0xFF0D}));
    EXPECT_EQ(written({R"({"t":"press","k":"c","mods":["cmd","fn","shift"]})"}),
              (Writes{key(0xFFEB, true), key(0xFFE1, true), key(0x63, true), key(0x63, false),
                      key(0xFFE1, false), key(0xFFEB, false)}));
    EXPECT_EQ(written({R"({"t":"press","k":"é"})", R"({"t":"press","k":"€"})",
                       R"({"t":"press","k":"A","mods":"shift"})"}),
              typed({0xE9, 0x010020AC, 0x41}));
    EXPECT_TRUE(written({R"({"t":"press","k":"ab","mods":["ctrl"]})", R"({"t":"press","k":""})",
                         R"({"t":"press"})", R"({"t":"text"})", R"({"t":"nothing"})", "{}"})
                    .empty());
}

TEST(VNCInput, TypesTextScalarByScalarUpToItsLimit) {
    EXPECT_EQ(written({R"({"t":"text","s":"a\n\tя😀"})"}),
              typed({0x61, 0xFF0D, 0xFF09, 0x0100044F, 0x0101F600}));
    const auto longText = nlohmann::json{{"t", "text"}, {"s", std::string(2500, 'x')}}.dump();
    EXPECT_EQ(written({longText}).size(), 4000u);
}

TEST(VNCInput, SendsTheClipboardInLatin1) {
    EXPECT_EQ(written({R"({"t":"clip","s":"naïve €"})", R"({"t":"clip"})"}),
              (Writes{Wire().u8(6).zeros(3).string("na\xEFve ?"), Wire().u8(6).zeros(3).u32(0)}));
    const auto longText = nlohmann::json{{"t", "clip"}, {"s", std::string(60'000, 'x')}}.dump();
    EXPECT_EQ(written({longText}).front().size(), 8u + 49'152u);
}
