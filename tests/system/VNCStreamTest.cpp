#include "support/Program.h"
#include "support/ScriptedServer.h"
#include "support/VNCServers.h"
#include "support/Wire.h"
#include "support/XClient.h"
#include "support/XRecorder.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace test;
using orvel::FrameType;

namespace {

std::string auth(const std::string& password) {
    return nlohmann::json{{"t", "auth"}, {"password", password}}.dump() + "\n";
}

const std::string start = R"({"t":"start"})"
                          "\n";

void paint(const XClient& client, Box place, std::uint32_t colour) {
    client.showWindow(place, {.colour = colour, .overrideRedirect = true});
    client.sync();
}

/// Xvfb takes the size too, but says that its only monitor does not.
void setSize(const std::string& display, const std::string& size) {
    Process xrandr({"xrandr", "--fb", size}, {{"DISPLAY", display}}, true);
    xrandr.wait();
}

} // namespace

TEST(VNCStream, EveryFamilyOfServersShowsItsDesktopAndItsNextSizeOpenOrNot) {
    const auto follows = [](const auto& server, const std::string& lines, int width, int height) {
        const XClient client(server.display());
        paint(client, {0, 0, 640, 480}, 0xC03020);
        Program remote(server.port(), lines);
        EXPECT_EQ(remote.announced(), Program::Size(640, 480));
        EXPECT_TRUE(remote.shows(20, 20, 0xC03020));
        paint(client, {0, 0, 200, 480}, 0x30A040);
        EXPECT_TRUE(remote.shows(20, 20, 0x30A040));
        // One more than the video can have.
        setSize(server.display(), std::to_string(width + 1) + "x" + std::to_string(height + 1));
        EXPECT_EQ(remote.announced(), Program::Size(width, height));
        EXPECT_TRUE(remote.shows(20, 20, 0x30A040));
        EXPECT_TRUE(remote.hangUp());
    };
    for (const auto& password :
         {std::optional<std::string>(), std::optional<std::string>("hush")}) {
        const auto lines = (password ? auth(*password) : "") + start;
        follows(Xvnc(password), lines, 800, 600);
        follows(X11vnc(password), lines, 320, 240);
        QEMU machine(password);
        Program remote(machine.port(), lines);
        EXPECT_EQ(remote.announced(), Program::Size(640, 480));
        machine.boot();
        EXPECT_EQ(remote.announced(), Program::Size(720, 400));
        EXPECT_TRUE(remote.shows(700, 390, 0x000000));
    }
}

TEST(VNCStream, CarriesTheClipboardBothWays) {
    Xvnc server;
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(640, 480));
    ASSERT_TRUE(remote.nextVideo());
    remote.line(R"({"t":"clipsync","on":true})");
    remote.line(R"({"t":"idr"})"); // Its key frame tells that the line before has been read.
    while (!remote.nextVideo().value().key) {
    }

    Process copy({"xclip", "-selection", "clipboard", "-quiet"}, {{"DISPLAY", server.display()}},
                 true);
    copy.write("from afar");
    copy.closeInput();
    const auto frame = remote.next();
    ASSERT_TRUE(frame && frame->type == FrameType::clipboard);
    EXPECT_EQ(std::string(frame->payload.begin(), frame->payload.end()), "from afar");

    remote.line(R"({"t":"clip","s":"from the phone"})");
    const std::vector<std::string> paste{"xclip", "-selection", "clipboard", "-o"};
    EXPECT_TRUE(eventually([&] {
        return Process(paste, {{"DISPLAY", server.display()}}, true).restText() == "from the phone";
    }));
}

TEST(VNCStream, TapsAndTextReachTheClientsOfTheDesktop) {
    const auto driven = [](const auto& server, const std::string& text) {
        const XRecorder recorder(server.display(), {0, 0, 640, 480});
        Program remote(server.port());
        EXPECT_EQ(remote.announced(), Program::Size(640, 480));
        remote.send({{"t", "move"}, {"x", 0.25}, {"y", 0.75}});
        remote.send({{"t", "click"}, {"b", "right"}});
        remote.send({{"t", "text"}, {"s", text}});
        remote.send({{"t", "press"}, {"k", "a"}, {"mods", {"ctrl"}}});

        using Kind = XInput::Kind;
        constexpr unsigned controlMask = 4;
        EXPECT_TRUE(eventually([&] {
            const auto keys = recorder.events(Kind::keyPress);
            return !keys.empty() && (keys.back().state & controlMask) != 0;
        }));
        EXPECT_TRUE(recorder.text().starts_with(text)) << recorder.text();
        const auto presses = recorder.events(Kind::buttonPress);
        ASSERT_EQ(presses.size(), 1u);
        EXPECT_EQ(presses[0].detail, 3);
        EXPECT_EQ(presses[0].x, 159);
        EXPECT_EQ(presses[0].y, 359);
        EXPECT_EQ(recorder.events(Kind::buttonRelease).size(), 1u);
    };
    driven(Xvnc(), "Hello, grün €я");
    driven(X11vnc(), "Hello, World!");
}

TEST(VNCStream, SaysOnceWhatWentWrong) {
    {
        Xvnc server("secret");
        EXPECT_TRUE(Program(server.port(), auth("wrong") + start)
                        .error()
                        .starts_with("remote_auth: The VNC "));
        EXPECT_TRUE(Program(server.port(), start)
                        .error()
                        .starts_with("remote_auth: The VNC server asks for a password."));
    }
    Xvnc server;
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(640, 480));
    ASSERT_TRUE(remote.nextVideo());
    server.child().signal(SIGKILL);
    EXPECT_TRUE(
        remote.error().starts_with("remote_protocol: The remote desktop closed the connection."));
    const TCPPort deaf;
    EXPECT_TRUE(Program(deaf.port())
                    .error()
                    .starts_with("remote_unreachable: 127.0.0.1 did not answer on port "));
}

TEST(VNCStream, WithoutAStartMessageThereIsNothing) {
    for (const auto* lines : {"", R"({"t":"idr"})", "[]\n", "{}"}) {
        // Nobody listens there, which would be said if anybody tried.
        Program remote(1, auth("secret") + lines);
        remote.closeInput();
        EXPECT_TRUE(remote.rest().empty()) << lines;
        EXPECT_EQ(remote.wait(), 0);
    }
}

TEST(VNCStream, AServerThatStallsDoesNotKeepItFromEnding) {
    std::atomic<bool> over = false;
    ListeningServer server([&](ServerSide& side) {
        const auto greeting = Wire().text("RFB 003.008\n").u8(1).u8(1).u32(0);
        side.send(Wire(greeting).u16(64).u16(64).zeros(16).string("desk"));
        eventually([&] { return over.load(); }); // Reads nothing, says nothing.
    });
    Program remote({"vnc", "--host", "127.0.0.1", "--port", std::to_string(server.port())},
                   std::nullopt, Streams::sockets);
    remote.write(start);
    EXPECT_EQ(remote.announced(), Program::Size(64, 64));
    // More keys than any buffer between the two takes.
    const auto line = nlohmann::json{{"t", "text"}, {"s", std::string(2000, 'x')}}.dump() + "\n";
    std::string keys;
    for (int number = 0; number < 400; ++number)
        keys += line;
    remote.offer(keys);
    EXPECT_TRUE(remote.hangUp());
    over = true;
}
