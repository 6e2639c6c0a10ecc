#include "rfb/RFBHandshake.h"
#include "platform/Cipher.h"
#include "rfb/RFBError.h"
#include "support/ScriptedServer.h"
#include "support/Wire.h"

#include <gtest/gtest.h>

#include <map>

using namespace orvel;
using namespace test;

namespace {

using Password = std::optional<std::string>;

/// What came of a handshake. Without an error, `server` is what it found.
struct Outcome {
    std::string code;
    std::string message;
    RFBServer server;
    test::Bytes written;
};

Outcome handshake(const test::Bytes& fromServer, const Password& password = std::nullopt,
                  const Manner& manner = {}) {
    ScriptedServer server(sending(fromServer), manner);
    Outcome outcome;
    try {
        RFBSocket socket(server.client());
        outcome.server = rfbHandshake(socket, password);
    } catch (const RFBError& error) {
        outcome.code = error.code();
        outcome.message = error.message();
    }
    outcome.written = server.written();
    return outcome;
}

Wire version(int minor) {
    return Wire().text("RFB 003.00" + std::to_string(minor) + "\n");
}

/// The end of every handshake that goes well.
Wire& initialization(Wire& wire, int width = 640, int height = 480,
                     const std::string& name = "desk") {
    return wire.u16(width).u16(height).zeros(16).string(name);
}

const Wire challenge = Wire().text("0123456789abcdef");

test::Bytes response(const std::string& password) {
    const auto answer = vncResponse(std::span(challenge.bytes).first<16>(), password);
    return {answer.begin(), answer.end()};
}

/// A whole sign-in with a password, from the server's side.
Wire signIn(int minor) {
    auto wire = version(minor);
    if (minor == 3)
        wire.u32(2);
    else
        wire.u8(2).u8(1).u8(2);
    wire.append(challenge.bytes).u32(0);
    return initialization(wire);
}

void expectRefusal(const Outcome& outcome, const std::string& code, const std::string& message) {
    EXPECT_EQ(outcome.code, code);
    EXPECT_EQ(outcome.message, message);
}

constexpr const char* noVNCServer = "That is not a VNC server.";
constexpr const char* closedMessage = "The remote desktop closed the connection.";
constexpr const char* tooLong = "The remote desktop sent a string too long.";

} // namespace

TEST(RFBHandshake, AnswersEachVersionWithTheOneToSpeak) {
    const std::map<std::string, std::string> answers{
        {"RFB 003.003\n", "RFB 003.003\n"}, {"RFB 003.005\n", "RFB 003.003\n"},
        {"RFB 003.007\n", "RFB 003.007\n"}, {"RFB 003.008\n", "RFB 003.008\n"},
        {"RFB 003.889\n", "RFB 003.008\n"}, {"RFB 004.001\n", "RFB 003.008\n"},
        {"RFB +03-008\r", "RFB 003.008\n"}, {"RFB 003\u00e9008", "RFB 003.008\n"}};
    for (const auto& [greeting, answer] : answers)
        EXPECT_EQ(handshake(Wire().text(greeting)).written, Wire().text(answer).bytes) << greeting;
}

TEST(RFBHandshake, ToldFromOtherServersByTheGreeting) {
    for (const std::string greeting :
         {"HTTP/1.1 400", "RFB abc.008\n", "RFB 003.abc\n", "RFB 003.    ", "rfb 003.008\n",
          "RFB \xe2\x82\xac\xe2\x82\xac\xff\xff",
          "\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff"}) {
        const auto outcome = handshake(Wire().text(greeting));
        expectRefusal(outcome, "remote_protocol", noVNCServer);
        EXPECT_TRUE(outcome.written.empty());
    }
}

TEST(RFBHandshake, ChoosesASignInByWhatIsOfferedAndWhetherThereIsAPassword) {
    struct Case {
        test::Bytes offered;
        Password password;
        std::uint8_t chosen;
    };
    for (const auto& [offered, password, chosen] :
         {Case{{1, 2}, "secret", 2}, Case{{1, 2}, std::nullopt, 1}, Case{{2, 1}, "", 1},
          Case{{1}, "secret", 1}, Case{{1, 30}, "secret", 1}, Case{{30, 2}, "secret", 2}}) {
        auto wire = version(8).u8(static_cast<int>(offered.size())).append(offered);
        if (chosen == 2)
            wire.append(challenge.bytes);
        const auto outcome = handshake(initialization(wire.u32(0)), password);
        auto expected = version(8).u8(chosen);
        if (chosen == 2)
            expected.append(response(*password));
        EXPECT_EQ(outcome.written, expected.u8(1).bytes);
        EXPECT_EQ(outcome.message, "");
        EXPECT_EQ(outcome.server.security, chosen == 2 ? "vnc" : "none");
        EXPECT_EQ(outcome.server.width, 640);
        EXPECT_EQ(outcome.server.height, 480);
        EXPECT_EQ(outcome.server.name, "desk");
    }
}

TEST(RFBHandshake, SaysWhyThereIsNoSession) {
    const std::string unspoken =
        "The VNC server asks for a sign-in this companion does not speak (";
    const std::string needed = "The VNC server asks for a password.";
    const std::string wrong = "The VNC password was not accepted.";
    const auto refused = [](int minor) {
        return version(minor).u8(1).u8(2).append(challenge.bytes).u32(1);
    };
    struct Case {
        Wire fromServer;
        Password password;
        std::string code;
        std::string message;
    };
    const std::vector<Case> cases{
        {version(8).u8(2).u8(30).u8(5), "x", "remote_unsupported",
         "This Mac's Screen Sharing asks for its own sign-in. Turn on \"VNC viewers may control "
         "the "
         "screen with password\" in its Screen Sharing settings."},
        {version(7).u8(2).u8(5).u8(16), "x", "remote_unsupported", unspoken + "5, 16)."},
        {version(3).u32(0x105), "x", "remote_unsupported", unspoken + "5)."},
        {version(8).u8(1).u8(2), std::nullopt, "remote_auth", needed},
        {version(8).u8(1).u8(2), "", "remote_auth", needed},
        {version(3).u32(2), "", "remote_auth", needed},
        {version(3).u32(0).string("Too many."), "x", "remote_protocol", "Too many."},
        {version(8).u8(0).string("Go \xff away"), "x", "remote_protocol", "Go \xef\xbf\xbd away"},
        {refused(8).string("No."), "x", "remote_auth", "The VNC server refused the sign-in: No."},
        {refused(8).string(""), "x", "remote_auth", wrong},
        {refused(8), "x", "remote_auth", wrong},
        {refused(7).string("No."), "x", "remote_auth", wrong},
        {version(8).u8(1).u8(1).u32(2).string("Closed."), std::nullopt, "remote_auth",
         "The VNC server refused the sign-in: Closed."},
    };
    for (const auto& [fromServer, password, code, message] : cases)
        expectRefusal(handshake(fromServer, password), code, message);

    const auto many = handshake(version(8).u8(255).append(test::Bytes(255, 0xff)));
    EXPECT_TRUE(many.message.starts_with(unspoken + "255, 255, 255"));
    EXPECT_EQ(many.written, version(8).bytes);
}

TEST(RFBHandshake, OlderVersionsHaveAResultOnlyForAPassword) {
    auto old = version(3).u32(1);
    EXPECT_EQ(handshake(initialization(old)).written, version(3).u8(1).bytes);
    auto newer = version(7).u8(1).u8(1);
    EXPECT_EQ(handshake(initialization(newer)).written, version(7).u8(1).u8(1).bytes);
    for (const int minor : {3, 7, 8})
        EXPECT_EQ(handshake(signIn(minor), "secret").server.security, "vnc");
}

TEST(RFBHandshake, EveryLengthIsCheckedBeforeWhatItAnnounces) {
    const std::string longest(1'048'576, 'n');
    auto fits = version(8).u8(1).u8(1).u32(0);
    EXPECT_EQ(handshake(initialization(fits, 1, 1, longest)).server.name, longest);
    expectRefusal(handshake(version(8).u8(0).string(longest)), "remote_protocol", longest);

    for (const std::uint32_t length : {1'048'577u, 0xffffffffu}) {
        expectRefusal(handshake(version(3).u32(0).u32(length)), "remote_protocol", tooLong);
        expectRefusal(handshake(version(7).u8(0).u32(length)), "remote_protocol", tooLong);
        expectRefusal(handshake(version(8).u8(1).u8(1).u32(1).u32(length)), "remote_auth",
                      "The VNC password was not accepted.");
        // The name comes before the size is judged.
        const auto name = version(8).u8(1).u8(1).u32(0).u16(0).u16(0).zeros(16).u32(length);
        expectRefusal(handshake(name), "remote_protocol", tooLong);
    }
}

TEST(RFBHandshake, TakesScreensOfUpTo8192PixelsEachWay) {
    const auto message = [](int width, int height) {
        auto wire = version(8).u8(1).u8(1).u32(0);
        return handshake(initialization(wire, width, height)).message;
    };
    EXPECT_EQ(message(8192, 8192), "");
    EXPECT_EQ(message(1, 1), "");
    for (const auto& [width, height] : {std::pair{8193, 100}, {100, 8193}, {0, 100}, {100, 0}})
        EXPECT_EQ(message(width, height), "The remote desktop has no screen, or one too large.");
}

TEST(RFBHandshake, IsIndifferentToHowTheBytesArriveAndNamesTheEndOfThem) {
    for (const int minor : {3, 7, 8}) {
        const auto recorded = signIn(minor).bytes;
        EXPECT_EQ(handshake(recorded, "secret", {.dribble = true}).server.name, "desk");
        for (std::size_t cut = 0; cut < recorded.size(); ++cut)
            expectRefusal(handshake(recorded, "secret", {.cutAfter = cut}), "remote_protocol",
                          closedMessage);
    }
}

TEST(RFBHandshake, AsksForPixelsAsTheyLieInMemory) {
    ScriptedServer server(sending({}));
    {
        RFBSocket socket(server.client());
        rfbSetup(socket);
    }
    const auto pixelFormat =
        Wire().u32(0).u8(32).u8(24).u8(0).u8(1).u16(255).u16(255).u16(255).u8(16).u8(8).zeros(4);
    const auto encodings = Wire().u8(2).u8(0).u16(4).i32(16).i32(1).i32(0).i32(-223);
    EXPECT_EQ(server.writes(), (std::vector{pixelFormat.bytes, encodings.bytes}));
}

TEST(VNCResponse, UsesTheLowByteOfTheFirstEightCharactersBackwards) {
    auto expected = challenge.bytes;
    platform::encryptDES(std::array<std::uint8_t, 8>{0x97}, expected);
    EXPECT_EQ(response("\u00e9"), expected);
    EXPECT_EQ(response("\u20e9"), expected);
    EXPECT_EQ(response("\U0001f6e9"), expected);
    EXPECT_EQ(response("password"), response("passwordless"));
    EXPECT_NE(response("passwor"), response("password"));
    EXPECT_NE(response("passwor\u00e9"), response("passwor\u00e8"));
}
