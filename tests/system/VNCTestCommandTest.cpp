#include "support/ScriptedServer.h"
#include "support/VNCServers.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace test;
using nlohmann::json;

namespace {

std::string auth(const std::string& password) {
    return json{{"t", "auth"}, {"password", password}}.dump() + "\n";
}

/// What the program says once its standard input ends behind `lines`.
json probed(const std::vector<std::string>& arguments, const std::string& lines = "") {
    // It needs no desktop of its own.
    Process process(joined({ORVEL_SCREEN, "vnc-test"}, arguments), {{"DISPLAY", std::nullopt}},
                    true);
    process.write(lines);
    process.closeInput();
    const auto text = process.restText();
    EXPECT_EQ(process.errorText(), "");
    EXPECT_EQ(process.wait(), 0);
    EXPECT_TRUE(text.starts_with('{') && text.ends_with('}')) << text;
    return json::parse(text);
}

json probed(const std::string& host, int port, const std::string& lines = "") {
    return probed({"--port", std::to_string(port), "--host", host}, lines);
}

json failure(const std::string& code, const std::string& message) {
    return {{"ok", false}, {"error", code}, {"message", message}};
}

/// That the server is described, open or not, that its password is accepted and no other is, and
/// that none is noticed.
template<class Server>
void expectDescribed(const std::string& name, const std::string& password) {
    json desktop{{"ok", true}, {"name", name}, {"w", 640}, {"h", 480}, {"security", "none"}};
    // A password does no harm where none is asked for.
    EXPECT_EQ(probed("127.0.0.1", Server().port(), "garbage\n" + auth("secret")), desktop);
    const Server server(password);
    desktop["security"] = "vnc";
    EXPECT_EQ(probed("127.0.0.1", server.port(), auth(password)), desktop);
    const auto wrong = probed("127.0.0.1", server.port(), auth("not " + password));
    EXPECT_EQ(wrong["error"], "remote_auth");
    // Each server has a reason of its own.
    EXPECT_TRUE(wrong.value("message", "").starts_with("The VNC server refused the sign-in: "));
    EXPECT_EQ(probed("127.0.0.1", server.port()),
              failure("remote_auth", "The VNC server asks for a password."));
}

} // namespace

TEST(VNCTest, DescribesEveryFamilyOfServersOpenOrNot) {
    expectDescribed<Xvnc>("Xvnc's desktop", "s3cret");
    expectDescribed<X11vnc>("x11vnc's desktop", "longer than eight");
    expectDescribed<QEMU>("QEMU (a machine)", "s3cret");
    const Xvnc server;
    for (const auto* host : {"::1", "localhost"})
        EXPECT_EQ(probed(host, server.port())["name"], "Xvnc's desktop");
}

TEST(VNCTest, SaysThatNobodyIsThere) {
    const auto notFound = [](const std::string& host) {
        return failure("remote_unreachable", host + " could not be found.");
    };
    const TCPPort deaf;
    for (const std::string host : {"127.0.0.1", "::1"})
        EXPECT_EQ(probed(host, deaf.port()),
                  failure("remote_unreachable",
                          host + " did not answer on port " + std::to_string(deaf.port()) + "."));
    EXPECT_EQ(probed({}), notFound(""));
    EXPECT_EQ(probed("[::1]", 5900), notFound("[::1]"));
    for (const int noPort : {-1, 65536 + deaf.port()})
        EXPECT_EQ(probed("127.0.0.1", noPort), notFound("127.0.0.1"));
}

TEST(VNCTest, GivesAHostThatNeverAnswersEightSeconds) {
    const BusyPort busy;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(probed("127.0.0.1", busy.port())["error"], "remote_unreachable");
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
