#include "rfb/Framebuffer.h"
#include "support/Program.h"
#include "support/ScriptedServer.h"
#include "support/Updates.h"
#include "support/VNCServers.h"
#include "support/XClient.h"
#include "support/XRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
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

constexpr std::uint8_t gray = 0xB4;
constexpr std::uint32_t grayColour = 0xB4B4B4;

void receiveToTheEnd(ServerSide& side) {
    while (!side.receive().empty()) {
    }
}

/// A rectangle of raw ZRLE tiles, which takes the most room that decompressed data can.
std::vector<std::uint8_t> rawTiles(int w, int h, std::uint8_t value) {
    std::vector<std::uint8_t> data;
    for (int y = 0; y < h; y += 64)
        for (int x = 0; x < w; x += 64) {
            data.push_back(0);
            data.insert(data.end(),
                        static_cast<std::size_t>(std::min(64, w - x)) *
                            static_cast<std::size_t>(std::min(64, h - y)) * 3,
                        value);
        }
    return data;
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

TEST(VNCStream, ScreensOfAnySizeArriveWhole) {
    for (const auto& [w, h] : {std::pair{1, 1}, {3, 5}, {1365, 767}, {767, 1365}}) {
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        ListeningServer server([w = w, h = h](ServerSide& side) {
            side.send(greeting(w, h));
            side.send(solidRaw(0, 0, w, h, gray));
            receiveToTheEnd(side);
        });
        const int width = std::max(w / 2 * 2, 2);
        const int height = std::max(h / 2 * 2, 2);
        Program remote(server.port());
        EXPECT_EQ(remote.announced(), Program::Size(width, height));
        EXPECT_TRUE(remote.shows(0, 0, grayColour));
        EXPECT_TRUE(remote.shows(width - 1, height - 1, grayColour));
        EXPECT_TRUE(remote.hangUp());
    }
}

TEST(VNCStream, TheLargestScreenTakesTheMemoryOfThreePicturesAtMost) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer takes more memory than the program";
#endif
    constexpr int side = orvel::Framebuffer::maxSide;
    Deflater deflater(1);
    ListeningServer server([&](ServerSide& connection) {
        connection.send(greeting(side, side));
        connection.send(solidRaw(0, 0, side, side, 0));
        connection.send(zrleUpdate(deflater, 0, 0, side, side, rawTiles(side, side, gray)));
        connection.send(updateOf(0, 0, side, side / 2, 1).u16(0).u16(side / 2));
        receiveToTheEnd(connection);
    });
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(1920, 1920));
    EXPECT_TRUE(remote.shows(1000, 1000, grayColour));
    constexpr double picture = 4.0 * side * side / 1048576;
    EXPECT_TRUE(remote.hangUp());
    EXPECT_LE(remote.peakMemory(), 3 * picture);
    RecordProperty("MiB", static_cast<int>(remote.peakMemory()));
}

TEST(VNCStream, ANewSizeIsAnnouncedBeforeItIsSeenHoweverOften) {
    constexpr int changes = 30;
    const auto widthAt = [](int number) { return 64 + 2 * number; };
    ListeningServer server([&](ServerSide& side) {
        side.send(greeting(widthAt(0), 64));
        for (int number = 1; number <= changes; ++number) {
            side.receive();
            auto resizing = update(2);
            rectangle(resizing, 0, 0, widthAt(number), 64, -223);
            rectangle(resizing, 0, 0, widthAt(number), 64, 0)
                .append(test::Bytes(static_cast<std::size_t>(widthAt(number)) * 64 * 4, gray));
            side.send(resizing);
        }
        receiveToTheEnd(side);
    });
    Program remote(server.port(), R"({"t":"start","fps":60})"
                                  "\n");
    for (int number = 0; number <= changes; ++number)
        EXPECT_EQ(remote.announced(), Program::Size(widthAt(number), 64));
    EXPECT_TRUE(remote.shows(0, 0, grayColour));
}

TEST(VNCStream, AFloodOfUpdatesIsThinnedToTheFrameRate) {
    constexpr int fps = 20;
    ListeningServer server([](ServerSide& side) {
        side.send(greeting(64, 64));
        for (int number = 0; number < 5000; ++number) {
            side.receive();
            side.send(solidRaw(0, 0, 64, 64, static_cast<std::uint8_t>(number)));
        }
        // Until every buffer of the client has seen the right half, which then changes by a copy.
        for (int number = 0; number < 8; ++number) {
            side.receive();
            side.send(solidRaw(0, 0, 32, 64, gray));
            usleep(1'000'000 / fps);
        }
        side.send(updateOf(32, 0, 32, 64, 1).u16(0).u16(0));
        receiveToTheEnd(side);
    });
    Program remote(server.port(), R"({"t":"start","fps":20})"
                                  "\n");
    EXPECT_EQ(remote.announced(), Program::Size(64, 64));
    EXPECT_TRUE(remote.shows(52, 20, grayColour));
    const auto& film = remote.film;
    ASSERT_GE(film.size(), 2u);
    EXPECT_GE(film.back().microseconds - film.front().microseconds,
              (film.size() - 1) * 1'000'000 / fps * 9 / 10);
}

TEST(VNCStream, ThousandsOfMessagesArriveInTheirOrder) {
    constexpr int side = 100;
    test::Bytes received;
    test::Bytes expected;
    {
        ListeningServer server([&](ServerSide& connection) {
            connection.send(greeting(side, side));
            receiveToTheEnd(connection);
            for (const auto& bytes : connection.received())
                received.insert(received.end(), bytes.begin(), bytes.end());
        });
        std::string lines;
        Wire wire;
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) {
                lines += nlohmann::json{{"t", "move"},
                                        {"x", (x + 0.1) / (side - 1)},
                                        {"y", (y + 0.1) / (side - 1)}}
                             .dump();
                lines += '\n';
                wire.u8(5).u8(0).u16(x).u16(y);
            }
        expected = wire;
        Program remote(server.port());
        remote.write(lines);
        remote.closeInput();
        EXPECT_EQ(remote.announced(), Program::Size(side, side));
        EXPECT_TRUE(remote.ends());
    }
    // The session's own first request may stand anywhere among them.
    const test::Bytes request = Wire().u8(3).u8(0).u16(0).u16(0).u16(side).u16(side);
    const auto found = std::ranges::search(received, request);
    ASSERT_FALSE(found.empty());
    received.erase(found.begin(), found.end());
    ASSERT_GE(received.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.rbegin(), expected.rend(), received.rbegin()));
}

TEST(VNCStream, NoFrameShowsARectangleByHalf) {
    constexpr int side = 256; // more than is drawn at once
    ListeningServer server([](ServerSide& connection) {
        connection.send(greeting(side, side));
        for (const int shade : {40, 80, 120, 160, gray + 0}) {
            const test::Bytes bytes = solidRaw(0, 0, side, side, static_cast<std::uint8_t>(shade));
            const std::span<const std::uint8_t> update(bytes);
            connection.send(update.first(bytes.size() * 3 / 4));
            usleep(300'000); // Several frames become due meanwhile.
            connection.send(update.subspan(bytes.size() * 3 / 4));
        }
        receiveToTheEnd(connection);
    });
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(side, side));
    EXPECT_TRUE(remote.shows(20, 20, grayColour));
    for (const auto& picture : remote.pictures())
        EXPECT_NEAR(picture.at(20, 20)[0], picture.at(20, side - 20)[0], 8);
}

TEST(VNCStream, ThousandsOfSizesCostNoMoreThanOneAndScreensfulOfCopiesEndIt) {
    constexpr int many = 60'000;
    constexpr int side = orvel::Framebuffer::maxSide;
    ListeningServer server([](ServerSide& connection) {
        connection.send(greeting(64, 64));
        auto sizes = update(many + 1);
        for (int number = 0; number < many / 2; ++number) {
            rectangle(sizes, 0, 0, side, side - number % 2, -223);
            rectangle(sizes, side / 2, side / 2, 1, 1, 0).u32(0);
        }
        rectangle(sizes, 0, 0, side, side, -223);
        connection.send(sizes);
        auto copies = update(many);
        for (int number = 0; number < many; ++number)
            rectangle(copies, 0, 1, side, side - 1, 1).u32(0);
        connection.send(copies);
        receiveToTheEnd(connection);
    });
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(64, 64));
    EXPECT_EQ(remote.announced(), Program::Size(1920, 1920));
    EXPECT_EQ(remote.error(),
              "remote_protocol: The remote desktop sent more pixels than its picture holds.");
}
