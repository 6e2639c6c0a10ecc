#include "support/Decoder.h"
#include "support/Ports.h"
#include "support/Process.h"
#include "support/ScriptedServer.h"
#include "support/VNCServers.h"
#include "support/Wire.h"
#include "support/XClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>

using namespace test;
using orvel::FrameType;

namespace {

/// One run of `vnc`, without a desktop of its own.
class Remote {
public:
    explicit Remote(int port, const std::string& lines = R"({"t":"start","fps":30})"
                                                         "\n")
        : process({ORVEL_SCREEN, "vnc", "--host", "127.0.0.1", "--port", std::to_string(port)},
                  {{"DISPLAY", std::nullopt}}) {
        process.write(lines);
    }

    /// The next frame that is not video; the video is collected.
    std::optional<Frame> next() {
        while (const auto frame = process.frame()) {
            if (frame->type != FrameType::video)
                return frame;
            collect(*frame);
        }
        return std::nullopt;
    }

    /// Waits for the announcement, and begins a new film with it.
    void expectAnnouncement(int w, int h) {
        const auto frame = next();
        ASSERT_TRUE(frame && frame->type == FrameType::announcement);
        stream.clear();
        keyFirst = std::nullopt;
        size = {w, h};
        EXPECT_EQ(frame->json()["w"], w);
        EXPECT_EQ(frame->json()["h"], h);
    }

    /// Whether the pixel comes to have this colour (0xRRGGBB), within what the coding leaves.
    bool shows(int x, int y, std::uint32_t colour) {
        while (const auto frame = process.frame(FrameType::video)) {
            collect(*frame);
            while (const auto more = process.frame(FrameType::video, 100ms))
                collect(*more);
            const auto pictures = decode(stream, size.first, size.second, Decoded::bgra);
            const auto pixel = pictures.back().at(x, y);
            const auto off = [&](std::size_t byte, int shift) {
                return std::abs(pixel[byte] - static_cast<int>(colour >> shift & 255));
            };
            if (std::max({off(0, 0), off(1, 8), off(2, 16)}) <= 8)
                return true;
        }
        return false;
    }

    void expectError(const std::string& code, const std::string& beginning) {
        const auto frame = next();
        ASSERT_TRUE(frame && frame->type == FrameType::error);
        EXPECT_EQ(frame->json()["error"], code);
        EXPECT_TRUE(frame->json()["message"].get<std::string>().starts_with(beginning))
            << frame->json();
        expectEnd();
    }

    /// The process ends by itself and soon, and nothing but video comes before.
    void expectEnd() {
        EXPECT_EQ(next(), std::nullopt);
        EXPECT_EQ(process.wait(), 0);
    }

    Process process;
    std::optional<bool> keyFirst;

private:
    void collect(const Frame& frame) {
        if (!keyFirst)
            keyFirst = video(frame).key;
        stream.insert(stream.end(), frame.payload.begin() + 9, frame.payload.end());
    }

    std::vector<std::uint8_t> stream;
    std::pair<int, int> size;
};

std::string auth(const std::string& password) {
    return nlohmann::json{{"t", "auth"}, {"password", password}}.dump() + "\n";
}

const std::string start = R"({"t":"start"})"
                          "\n";

void paint(const XClient& client, Box place, std::uint32_t colour) {
    client.map(client.createWindow(place, {.colour = colour, .overrideRedirect = true}));
    client.sync();
}

} // namespace

TEST(VNCStream, ShowsARealDesktopAndFollowsItAndItsSize) {
    Xvnc server;
    const XClient client(server.display());
    paint(client, {0, 0, 640, 480}, 0xC03020);
    Remote remote(server.port());
    remote.expectAnnouncement(640, 480);
    EXPECT_TRUE(remote.shows(20, 20, 0xC03020));
    EXPECT_EQ(remote.keyFirst, true);
    paint(client, {0, 0, 320, 480}, 0x2060C0);
    EXPECT_TRUE(remote.shows(20, 20, 0x2060C0));

    Process xrandr({"xrandr", "--fb", "801x601"}, {{"DISPLAY", server.display()}});
    EXPECT_EQ(xrandr.wait(), 0);
    remote.expectAnnouncement(800, 600);
    EXPECT_TRUE(remote.shows(20, 20, 0x2060C0));
    EXPECT_EQ(remote.keyFirst, true);

    remote.process.closeInput();
    remote.expectEnd();
}

TEST(VNCStream, ShowsTheDesktopsOfOtherServersToo) {
    X11vnc server("secret");
    const XClient client(server.display());
    paint(client, {0, 0, 640, 480}, 0x30A040);
    Remote remote(server.port(), auth("secret") + start);
    remote.expectAnnouncement(640, 480);
    EXPECT_TRUE(remote.shows(20, 20, 0x30A040));
    remote.process.closeInput();
    remote.expectEnd();

    QEMU machine;
    Remote console(machine.port());
    const auto announcement = console.next();
    ASSERT_TRUE(announcement && announcement->type == FrameType::announcement);
    EXPECT_TRUE(console.process.frame(FrameType::video));
}

TEST(VNCStream, CarriesTheClipboardBothWays) {
    Xvnc server;
    Remote remote(server.port());
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
    EXPECT_TRUE(eventually([&] {
        Process paste({"xclip", "-selection", "clipboard", "-o"}, {{"DISPLAY", server.display()}},
                      true);
        return paste.restText() == "from the phone";
    }));
}

TEST(VNCStream, SaysOnceWhatWentWrong) {
    {
        Xvnc server("secret");
        Remote(server.port(), auth("wrong") + start).expectError("remote_auth", "The VNC ");
        Remote(server.port(), start)
            .expectError("remote_auth", "The VNC server asks for a password.");
    }
    Xvnc server;
    Remote remote(server.port());
    remote.expectAnnouncement(640, 480);
    ASSERT_TRUE(remote.process.frame(FrameType::video));
    server.child().signal(SIGKILL);
    remote.expectError("remote_protocol", "The remote desktop closed the connection.");
    const DeafPort deaf;
    Remote(deaf.port()).expectError("remote_unreachable", "127.0.0.1 did not answer on port ");
}

TEST(VNCStream, WithoutAStartMessageThereIsNothing) {
    for (const auto* lines : {"", R"({"t":"idr"})", "[]\n", "{}"}) {
        // Nobody listens there, which would be said if anybody tried.
        Remote remote(1, auth("secret") + lines);
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
        Remote remote(server.port(), start);
        if (!messages.empty())
            remote.expectAnnouncement(64, 64);
        remote.process.offer(messages);
        remote.process.closeInput();
        EXPECT_EQ(remote.process.wait(5s), 0);
        over = true;
    };
    const auto greeting = Wire().text("RFB 003.008\n");
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
