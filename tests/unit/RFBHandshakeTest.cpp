#include "rfb/RFBHandshake.h"
#include "platform/Cipher.h"
#include "rfb/RFBError.h"
#include "support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <map>

using namespace orvel;
using namespace test;

namespace {

/// What came of a handshake, in words, and what the client wrote.
std::pair<std::string, test::Bytes> handshake(const Wire& fromServer,
                                              const std::string& password = "") {
    ScriptedServer server(sending(fromServer));
    std::string outcome;
    try {
        RFBSocket socket(server.client());
        const auto found = rfbHandshake(socket, password);
        outcome = found.security + " " + std::to_string(found.width) + "x" +
                  std::to_string(found.height) + " " + found.name;
    } catch (const RFBError& error) {
        outcome = std::string(error.code()) + ": " + error.message();
    }
    return {outcome, server.written()};
}

const Wire challenge = Wire().text("0123456789abcdef");

Wire response(std::string_view password) {
    return Wire().append(vncResponse(std::span(challenge).first<16>(), password));
}

Wire version(int minor) {
    return Wire().text("RFB 003.00" + std::to_string(minor) + "\n");
}

Wire offer(const std::vector<std::uint8_t>& types) {
    return Wire().u8(static_cast<int>(types.size())).append(types);
}

Wire desk(int width = 640, int height = 480, const std::string& name = "desk") {
    return Wire().u16(width).u16(height).zeros(16).string(name);
}

} // namespace

TEST(RFBHandshake, AnswersEachVersionWithTheOneToSpeakAndOtherServersNot) {
    const std::map<std::string, std::string> answers{{"RFB 003.003\n", "RFB 003.003\n"},
                                                     {"RFB 003.005\n", "RFB 003.003\n"},
                                                     {"RFB 003.007\n", "RFB 003.007\n"},
                                                     {"RFB 003.008\n", "RFB 003.008\n"},
                                                     {"RFB 003.889\n", "RFB 003.008\n"},
                                                     {"RFB 004.001\n", "RFB 003.008\n"},
                                                     {"RFB 003\u00e9008", "RFB 003.008\n"},
                                                     {"HTTP/1.1 400", ""},
                                                     {"RFB abc.008\n", ""},
                                                     {"RFB 003.    ", ""},
                                                     {"RFB \xe2\x82\xac\xe2\x82\xac\xff\xff", ""},
                                                     {"rfb 003.008\n", ""}};
    for (const auto& [greeting, answer] : answers) {
        const auto [outcome, written] = handshake(Wire().text(greeting));
        EXPECT_EQ(written, Wire().text(answer)) << greeting;
        EXPECT_EQ(outcome, answer.empty()
                               ? "remote_protocol: That is not a VNC server."
                               : "remote_protocol: The remote desktop closed the connection.");
    }
}

TEST(RFBHandshake, SignsInOrSaysWhyNot) {
    const std::string unknown =
        "remote_unsupported: The VNC server asks for a sign-in this companion does not speak (";
    const std::string needed = "remote_auth: The VNC server asks for a password.";
    const std::string wrong = "remote_auth: The VNC password was not accepted.";
    const std::string refused = "remote_auth: The VNC server refused the sign-in: ";
    const std::string tooLong = "remote_protocol: The remote desktop sent a string too long.";
    const std::string noScreen =
        "remote_protocol: The remote desktop has no screen, or one too large.";
    const std::string maxString(1'048'576, 'n');
    const auto open = offer({1}).u32(0);
    const auto asking = offer({2}).append(challenge);
    const auto tried = Wire().u8(2).append(response("secret"));
    struct Case {
        int minor;
        Wire server; ///< All that follows the versions, and likewise:
        std::string password;
        std::string outcome;
        Wire client{};
    };
    const std::vector<Case> cases{
        {8, offer({1, 2}).append(challenge).u32(0).append(desk()), "secret", "vnc 640x480 desk",
         Wire(tried).u8(1)},
        {8, offer({2, 1}).u32(0).append(desk()), "", "none 640x480 desk", {1, 1}},
        {8, offer({1, 30}).u32(0).append(desk()), "secret", "none 640x480 desk", {1, 1}},
        // Older versions have a result only for a password.
        {7, offer({1}).append(desk()), "", "none 640x480 desk", {1, 1}},
        {3, Wire().u32(1).append(desk()), "", "none 640x480 desk", {1}},
        {3, Wire().u32(2).append(challenge).u32(0).append(desk()), "secret", "vnc 640x480 desk",
         response("secret").u8(1)},
        {8, offer({30, 5}), "x",
         "remote_unsupported: This Mac's Screen Sharing asks for its own sign-in. Turn on \"VNC "
         "viewers may control the screen with password\" in its Screen Sharing settings."},
        {7, offer({5, 16}), "x", unknown + "5, 16)."},
        {3, Wire().u32(0x105), "x", unknown + "5)."},
        {8, offer({2}), "", needed, {2}},
        {3, Wire().u32(2), "", needed},
        {3, Wire().u32(0).string("Too many."), "x", "remote_protocol: Too many."},
        {8, offer({}).string("Go \xff away"), "x", "remote_protocol: Go \xef\xbf\xbd away"},
        {8, Wire(asking).u32(1).string("No."), "secret", refused + "No.", tried},
        {8, Wire(asking).u32(1).string(""), "secret", wrong, tried},
        {8, Wire(asking).u32(1).u32(0xffffffff), "secret", wrong, tried},
        {7, Wire(asking).u32(1).string("No."), "secret", wrong, tried},
        {8, offer({1}).u32(2).string("Closed."), "", refused + "Closed.", {1}},
        // Every length is checked before what it announces, and the size after the name.
        {8, Wire(open).append(desk(8192, 1, maxString)), "", "none 8192x1 " + maxString, {1, 1}},
        {3, Wire().u32(0).u32(1'048'577), "", tooLong},
        {7, offer({}).u32(1'048'577), "", tooLong},
        {8, Wire(open).u32(0).zeros(16).u32(1'048'577), "", tooLong, {1, 1}},
        {8, Wire(open).append(desk(8193, 100)), "", noScreen, {1, 1}},
        {8, Wire(open).append(desk(100, 8193)), "", noScreen, {1, 1}},
        {8, Wire(open).append(desk(0, 100)), "", noScreen, {1, 1}},
        {8, Wire(open).append(desk(100, 0)), "", noScreen, {1, 1}},
    };
    for (const auto& [minor, server, password, outcome, client] : cases) {
        const auto result = handshake(version(minor).append(server), password);
        EXPECT_EQ(result.first, outcome);
        EXPECT_EQ(result.second, version(minor).append(client)) << outcome;
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
    EXPECT_EQ(server.writes(), (std::vector<test::Bytes>{pixelFormat, encodings}));
}

TEST(VNCResponse, UsesTheLowByteOfTheFirstEightCharactersBackwards) {
    auto expected = challenge;
    platform::encryptDES(std::array<std::uint8_t, 8>{0x97}, expected);
    for (const auto* password : {"\u00e9", "\u20e9", "\U0001f6e9"})
        EXPECT_EQ(response(password), expected);
    EXPECT_EQ(response("passwor\u00e9"), response("passwor\u00e9less"));
    EXPECT_NE(response("passwor"), response("passwor\u00e9"));
}
