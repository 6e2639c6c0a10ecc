#include "support/Process.h"
#include "support/ScriptedServer.h"
#include "support/VNCServers.h"
#include "support/Wire.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

using namespace test;
using nlohmann::json;

namespace {

/// What the program says once its standard input ends behind `lines`.
json probed(const std::vector<std::string>& arguments, const std::string& lines = "") {
    std::vector<std::string> command{ORVEL_SCREEN, "vnc-test"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    // It needs no desktop of its own.
    Process process(command, {{"DISPLAY", std::nullopt}}, true);
    process.write(lines);
    process.closeInput();
    const auto text = process.restText();
    EXPECT_EQ(process.errorText(), "");
    EXPECT_EQ(process.wait(), 0);
    EXPECT_TRUE(text.starts_with('{') && text.ends_with('}')) << text;
    return json::parse(text);
}

json probed(const std::string& host, int port, const std::string& lines = "") {
    return probed({"--host", host, "--port", std::to_string(port)}, lines);
}

std::string auth(const std::string& password) {
    return json{{"t", "auth"}, {"password", password}}.dump() + "\n";
}

json failure(const std::string& code, const std::string& message) {
    return {{"ok", false}, {"error", code}, {"message", message}};
}

void expectDesktop(const json& answer, const std::string& security, int width, int height,
                   const std::string& name) {
    EXPECT_EQ(
        answer,
        (json{{"ok", true}, {"name", name}, {"w", width}, {"h", height}, {"security", security}}));
}

/// That the right password is accepted, and no other, and that none is noticed.
template<class Server>
void expectPassword(const std::string& password) {
    const Server server(password);
    EXPECT_EQ(probed("127.0.0.1", server.port(), auth(password))["security"], "vnc");
    const auto wrong = probed("127.0.0.1", server.port(), auth("not " + password));
    EXPECT_EQ(wrong["error"], "remote_auth");
    // Each server has a reason of its own.
    EXPECT_TRUE(wrong.value("message", "").starts_with("The VNC server refused the sign-in: "))
        << wrong;
    EXPECT_EQ(probed("127.0.0.1", server.port()),
              failure("remote_auth", "The VNC server asks for a password."));
}

} // namespace

TEST(VNCTest, DescribesXvncByNameAndByBothKindsOfAddress) {
    const Xvnc server;
    for (const auto* host : {"127.0.0.1", "::1", "localhost"})
        expectDesktop(probed(host, server.port()), "none", 640, 480, "Xvnc's desktop");
    // A password does no harm where none is asked for, and the order of the options is free.
    expectDesktop(probed({"--port", std::to_string(server.port()), "--host", "127.0.0.1"},
                         "garbage\n" + auth("secret")),
                  "none", 640, 480, "Xvnc's desktop");
}

TEST(VNCTest, DescribesTheOtherFamiliesOfServers) {
    const X11vnc shared;
    expectDesktop(probed("127.0.0.1", shared.port()), "none", 640, 480, "x11vnc's desktop");
    const QEMU machine;
    expectDesktop(probed("127.0.0.1", machine.port()), "none", 640, 480, "QEMU (a machine)");
}

TEST(VNCTest, SignsInToEveryFamilyOfServers) {
    expectPassword<Xvnc>("s3cret");
    expectPassword<X11vnc>("longer than eight");
    expectPassword<QEMU>("s3cret");
}

TEST(VNCTest, SaysThatNobodyIsThere) {
    const TCPPort deaf;
    const auto port = std::to_string(deaf.port());
    for (const std::string host : {"127.0.0.1", "::1"})
        EXPECT_EQ(probed(host, deaf.port()),
                  failure("remote_unreachable", host + " did not answer on port " + port + "."));
    EXPECT_EQ(probed({}), failure("remote_unreachable", " could not be found."));
    EXPECT_EQ(probed("[::1]", 5900), failure("remote_unreachable", "[::1] could not be found."));
}

TEST(VNCTest, GivesAHostThatNeverAnswersEightSeconds) {
    const BusyPort busy;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(probed("127.0.0.1", busy.port()),
              failure("remote_unreachable",
                      "127.0.0.1 did not answer on port " + std::to_string(busy.port()) + "."));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 7900ms);
    EXPECT_LE(waited, 8s + patience);
}

TEST(VNCTest, HandsOnAServersReasonAsItIs) {
    const std::string reason("A\0way\xff!", 7);
    const ListeningServer server(sending(Wire().text("RFB 003.003\n").u32(0).string(reason)));
    EXPECT_EQ(probed("127.0.0.1", server.port()),
              failure("remote_protocol", std::string("A\0way\xef\xbf\xbd!", 9)));
}

TEST(VNCTest, ConnectsOnlyOnceItKnowsThePassword) {
    std::atomic<bool> connected = false;
    const ListeningServer server([&](ServerSide& side) {
        connected = true;
        side.hangUp();
    });
    Process process(
        {ORVEL_SCREEN, "vnc-test", "--host", "127.0.0.1", "--port", std::to_string(server.port())});
    process.write(auth("secret"));
    EXPECT_FALSE(process.wait(300ms));
    EXPECT_FALSE(connected);
    process.line(R"({"t":"start"})");
    EXPECT_EQ(process.wait(), 0);
    EXPECT_TRUE(connected);
}
