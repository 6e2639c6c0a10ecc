#include "rfb/RFBError.h"
#include "rfb/TCPConnection.h"
#include "rfb/VNCSession.h"
#include "support/Ports.h"
#include "support/Process.h"
#include "support/Remote.h"
#include "support/ScriptedServer.h"
#include "support/Usage.h"
#include "support/VNCServers.h"
#include "support/Wire.h"
#include "support/XClient.h"
#include "support/XOwner.h"
#include "support/XRecorder.h"

#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <random>

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

/// Plays one session through to its end with the server behind the port, and keeps all it says.
class Relay {
public:
    explicit Relay(int port)
        : behind(orvel::connectTCP("127.0.0.1", port, patience)),
          front([this](ServerSide& side) { relay(side); }) {}

    int port() const { return front.port(); }
    /// Once the client has hung up.
    const test::Bytes& recording() {
        over.wait(false);
        return said;
    }

private:
    void relay(ServerSide& side) {
        std::jthread upwards([&] {
            for (auto bytes = side.receive(); !bytes.empty(); bytes = side.receive())
                send(behind.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            shutdown(behind.get(), SHUT_RDWR);
        });
        std::array<std::uint8_t, 16384> bytes{};
        ssize_t count = 0;
        while ((count = recv(behind.get(), bytes.data(), bytes.size(), 0)) > 0) {
            const auto part = std::span(bytes).first(static_cast<std::size_t>(count));
            said.insert(said.end(), part.begin(), part.end());
            side.send(part);
        }
        over = true;
        over.notify_all();
    }

    orvel::FileDescriptor behind;
    test::Bytes said;
    std::atomic<bool> over = false;
    ListeningServer front;
};

/// What ends a session with a server that says just this.
orvel::RFBError endOfSession(const test::Bytes& said) {
    ScriptedServer server(sending(said));
    auto socket = std::make_unique<orvel::RFBSocket>(server.client());
    try {
        const auto description = orvel::rfbHandshake(*socket, std::nullopt);
        orvel::rfbSetup(*socket);
        orvel::VNCSession session(std::move(socket), description, 60, 4000, 1920);
        session.announce();
        session.run();
    } catch (const orvel::RFBError& error) {
        return error;
    }
}

} // namespace

TEST(VNCStream, EveryFamilyOfServersShowsItsDesktopAndItsNextSizeOpenOrNot) {
    const auto follows = [](const auto& server, const std::string& lines, int width, int height) {
        const XClient client(server.display());
        paint(client, {0, 0, 640, 480}, 0xC03020);
        Remote remote(ORVEL_SCREEN, server.port(), lines);
        remote.expectAnnouncement(640, 480);
        EXPECT_TRUE(remote.shows(20, 20, 0xC03020));
        paint(client, {0, 0, 200, 480}, 0x30A040);
        EXPECT_TRUE(remote.shows(20, 20, 0x30A040));
        // One more than the video can have.
        setSize(server.display(), std::to_string(width + 1) + "x" + std::to_string(height + 1));
        remote.expectAnnouncement(width, height);
        EXPECT_TRUE(remote.shows(20, 20, 0x30A040));
        remote.process.closeInput();
        remote.expectEnd();
    };
    for (const auto& password :
         {std::optional<std::string>(), std::optional<std::string>("hush")}) {
        const auto lines = (password ? auth(*password) : "") + start;
        follows(Xvnc(password), lines, 800, 600);
        follows(X11vnc(password), lines, 320, 240);
        QEMU machine(password);
        Remote remote(ORVEL_SCREEN, machine.port(), lines);
        remote.expectAnnouncement(640, 480);
        machine.boot();
        remote.expectAnnouncement(720, 400);
        EXPECT_TRUE(remote.shows(700, 390, 0x000000));
    }
}

TEST(VNCStream, CarriesTheClipboardBothWays) {
    Xvnc server;
    Remote remote(ORVEL_SCREEN, server.port());
    remote.expectAnnouncement(640, 480);
    remote.process.line(R"({"t":"clipsync","on":true})");
    ASSERT_TRUE(remote.process.frame(FrameType::video));

    Process copy({"xclip", "-selection", "clipboard", "-quiet"}, {{"DISPLAY", server.display()}},
                 true);
    copy.write("from afar");
    copy.closeInput();
    const auto frame = remote.next();
    ASSERT_TRUE(frame && frame->type == FrameType::clipboard);
    EXPECT_EQ(std::string(frame->payload.begin(), frame->payload.end()), "from afar");

    remote.process.line(R"({"t":"clip","s":"from the phone"})");
    const std::vector<std::string> paste{"xclip", "-selection", "clipboard", "-o"};
    EXPECT_TRUE(eventually([&] {
        return Process(paste, {{"DISPLAY", server.display()}}, true).restText() == "from the phone";
    }));
}

TEST(VNCStream, TapsAndTextReachTheClientsOfTheDesktop) {
    const auto driven = [](const auto& server, const std::string& text) {
        const XRecorder recorder(server.display(), {0, 0, 640, 480});
        Remote remote(ORVEL_SCREEN, server.port());
        remote.expectAnnouncement(640, 480);
        const auto send = [&](const nlohmann::json& message) {
            remote.process.line(message.dump());
        };
        send({{"t", "move"}, {"x", 0.25}, {"y", 0.75}});
        send({{"t", "click"}, {"b", "right"}});
        send({{"t", "text"}, {"s", text}});
        send({{"t", "press"}, {"k", "a"}, {"mods", {"ctrl"}}});

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

TEST(VNCStream, ARecordedSessionCutAnywhereEndsWithOneErrorAndLeavesNothingBehind) {
    test::Bytes recording;
    {
        Xvnc server(std::nullopt, "48x40");
        const XClient client(server.display());
        Relay relay(server.port());
        Remote remote(ORVEL_SCREEN, relay.port());
        remote.expectAnnouncement(48, 40);
        remote.process.line(R"({"t":"clipsync","on":true})");
        paint(client, {0, 0, 20, 40}, 0xC03020);
        std::vector<std::uint32_t> shades(std::size_t{20} * 20); // to be sent as they are
        std::minstd_rand random;
        std::ranges::generate(shades, [&] { return random() >> 4; });
        client.putImage(client.root(), {24, 0, 20, 20}, shades);
        client.sync();
        EXPECT_TRUE(remote.shows(10, 10, 0xC03020));
        setSize(server.display(), "80x40");
        remote.expectAnnouncement(80, 40);
        const XOwner owner(server.display(), {{{"UTF8_STRING", "cut"}, {"STRING", "cut"}}});
        const auto clip = remote.next();
        EXPECT_TRUE(clip && clip->type == FrameType::clipboard);
        remote.process.closeInput();
        remote.expectEnd();
        recording = relay.recording();
    }
    ASSERT_GT(recording.size(), 1000u);
    const auto play = [&](std::size_t length) {
        const CapturedOutput output;
        const auto error = endOfSession({recording.begin(), recording.begin() + length});
        ASSERT_EQ(error.message(), "The remote desktop closed the connection.") << length;
    };
    const auto heap = [] {
        return mallinfo2().uordblks;
    }; // Of the main thread, which makes the sessions.
    play(recording.size());
    const auto descriptors = openDescriptors(getpid());
    const auto memory = heap();
    for (std::size_t cut = 0; cut <= recording.size(); ++cut)
        play(cut);
    EXPECT_EQ(openDescriptors(getpid()), descriptors);
    EXPECT_LT(heap(), memory + recording.size() * 100);
}

TEST(VNCStream, SaysOnceWhatWentWrong) {
    {
        Xvnc server("secret");
        Remote(ORVEL_SCREEN, server.port(), auth("wrong") + start)
            .expectError("remote_auth", "The VNC ");
        Remote(ORVEL_SCREEN, server.port(), start)
            .expectError("remote_auth", "The VNC server asks for a password.");
    }
    Xvnc server;
    Remote remote(ORVEL_SCREEN, server.port());
    remote.expectAnnouncement(640, 480);
    ASSERT_TRUE(remote.process.frame(FrameType::video));
    server.child().signal(SIGKILL);
    remote.expectError("remote_protocol", "The remote desktop closed the connection.");
    const DeafPort deaf;
    Remote(ORVEL_SCREEN, deaf.port())
        .expectError("remote_unreachable", "127.0.0.1 did not answer on port ");
}

TEST(VNCStream, WithoutAStartMessageThereIsNothing) {
    for (const auto* lines : {"", R"({"t":"idr"})", "[]\n", "{}"}) {
        // Nobody listens there, which would be said if anybody tried.
        Remote remote(ORVEL_SCREEN, 1, auth("secret") + lines);
        remote.process.closeInput();
        EXPECT_TRUE(remote.process.rest().empty()) << lines;
        EXPECT_EQ(remote.process.wait(), 0);
    }
}

TEST(VNCStream, AServerThatStallsDoesNotKeepItFromEnding) {
    const auto endsAfter = [](const test::Bytes& bytes, const std::string& messages) {
        std::atomic<bool> over = false;
        ListeningServer server([&](ServerSide& side) {
            side.send(bytes);
            eventually([&] { return over.load(); }); // Reads nothing, says nothing.
        });
        Remote remote(ORVEL_SCREEN, server.port(), start);
        if (!messages.empty())
            remote.expectAnnouncement(64, 64);
        remote.process.offer(messages);
        remote.process.closeInput();
        EXPECT_EQ(remote.process.wait(5s), 0);
        over = true;
    };
    const auto greeting = Wire().append(std::string("RFB 003.008\n"));
    endsAfter({}, "");
    endsAfter(greeting, "");
    endsAfter(Wire(greeting).u8(1).u8(1), "");
    // More keys than any buffer between the two takes.
    const auto line = nlohmann::json{{"t", "text"}, {"s", std::string(2000, 'x')}}.dump() + "\n";
    std::string keys;
    for (int number = 0; number < 400; ++number)
        keys += line;
    endsAfter(Wire(greeting).u8(1).u8(1).u32(0).u16(64).u16(64).zeros(16).string("desk"), keys);
}
