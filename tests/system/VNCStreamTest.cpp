#include "rfb/Framebuffer.h"
#include "support/Deflater.h"
#include "support/Program.h"
#include "support/ScriptedServer.h"
#include "support/VNCServers.h"
#include "support/XClient.h"
#include "support/XRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <random>

using namespace test;
using orvel::FrameType;

namespace {

const std::string start = R"({"t":"start"})"
                          "\n";

std::string auth(const std::string& password) {
    return nlohmann::json{{"t", "auth"}, {"password", password}}.dump() + "\n";
}

void paint(const XClient& client, Box place, std::uint32_t colour) {
    client.showWindow(place, {.colour = colour, .overrideRedirect = true});
    client.sync();
}

/// A server of a screen of this size, which then plays the script.
Script desktop(int w, int h, const Script& script) {
    return [=](ServerSide& side) {
        side.send(greeting(w, h));
        script(side);
    };
}

constexpr std::uint8_t gray = 0xB4;
constexpr std::uint32_t grayColour = 0xB4B4B4;

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
        // One more than the video can have. Xvfb takes it too, but says that its monitor does not.
        const auto size = std::to_string(width + 1) + "x" + std::to_string(height + 1);
        Process({"xrandr", "--fb", size}, {{"DISPLAY", server.display()}}, true).wait();
        EXPECT_EQ(remote.announced(), Program::Size(width, height));
        EXPECT_TRUE(remote.shows(20, 20, 0x30A040));
        EXPECT_TRUE(remote.hangUp());
    };
    for (const auto& password : {Password(), Password("hush")}) {
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
    remote.send({{"t", "clipsync"}, {"on", true}});
    remote.send({{"t", "idr"}}); // Its key frame tells that the line before has been read.
    while (!remote.nextVideo().value().key) {
    }

    const std::vector<std::string> xclip{"xclip", "-selection", "clipboard"};
    Process copy(joined(xclip, {"-quiet"}), {{"DISPLAY", server.display()}}, true);
    copy.write("from afar");
    copy.closeInput();
    const auto frame = remote.next();
    ASSERT_TRUE(frame && frame->type == FrameType::clipboard);
    EXPECT_EQ(frame->payload, Wire().text("from afar"));

    remote.send({{"t", "clip"}, {"s", "from the phone"}});
    EXPECT_TRUE(eventually([&] {
        return Process(joined(xclip, {"-o"}), {{"DISPLAY", server.display()}}, true).restText() ==
               "from the phone";
    }));
}

TEST(VNCStream, TapsAndTextReachTheClientsOfTheDesktop) {
    const auto driven = [](const auto& server, const std::string& text) {
        const XRecorder recorder(server.display(), {0, 0, 640, 480});
        Program remote(server.port());
        EXPECT_EQ(remote.announced(), Program::Size(640, 480));
        remote.send({{"t", "move"}, {"x", 0.25}, {"y", 0.75}});
        remote.send({{"t", "click"}, {"b", "right"}});
        remote.type(text);
        remote.press("a", {"ctrl"});

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
    const auto says = [](Program remote, const std::string& sentence) {
        const auto error = remote.error();
        EXPECT_TRUE(error.starts_with(sentence) && !error.ends_with(")")) << error;
    };
    {
        const Xvnc server("secret");
        says(Program(server.port(), auth("wrong") + start), "remote_auth: The VNC ");
        says(Program(server.port(), start), "remote_auth: The VNC server asks for a password.");
    }
    says(Program(TCPPort().port()), "remote_unreachable: 127.0.0.1 did not answer on port ");
    Xvnc server;
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(640, 480));
    ASSERT_TRUE(remote.nextVideo());
    server.child().signal(SIGKILL);
    EXPECT_EQ(remote.error(), "remote_protocol: The remote desktop closed the connection.");
}

TEST(VNCStream, WithoutAStartMessageThereIsNothing) {
    for (const auto* lines : {"", R"({"t":"idr"})", "[]\n", "{}"}) {
        // Nobody listens there, which would be said if anybody tried.
        Program remote(1, auth("secret") + lines);
        EXPECT_TRUE(remote.hangUp()) << lines;
    }
}

TEST(VNCStream, AServerThatStallsDoesNotKeepItFromEnding) {
    std::atomic<bool> over = false;
    const ListeningServer server(desktop(64, 64, [&](ServerSide&) {
        eventually([&] { return over.load(); }); // Reads nothing, says nothing.
    }));
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
        const ListeningServer server(desktop(w, h, sending(solidRaw(0, 0, w, h, gray))));
        const int width = std::max(w / 2 * 2, 2);
        const int height = std::max(h / 2 * 2, 2);
        Program remote(server.port());
        EXPECT_EQ(remote.announced(), Program::Size(width, height));
        EXPECT_TRUE(remote.shows(0, 0, grayColour));
        EXPECT_TRUE(remote.shows(width - 1, height - 1, grayColour));
    }
}

TEST(VNCStream, TheLargestScreenTakesTheMemoryOfThreeFramesAtMost) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer takes more memory than the program";
#endif
    constexpr int side = orvel::Framebuffer::maxSide;
    const ListeningServer server(desktop(side, side, [](ServerSide& connection) {
        connection.send(solidRaw(0, 0, side, side, 0));
        // Raw tiles, which take the most room that decompressed data can.
        Wire tile = Wire().u8(0).append(Bytes(std::size_t{64} * 64 * 3, gray));
        Wire tiles;
        for (int number = 0; number < side / 64 * (side / 64); ++number)
            tiles.append(tile);
        const auto compressed = Deflater(1).piece(tiles);
        connection.send(updateOf(0, 0, side, side, 16)
                            .u32(static_cast<std::uint32_t>(compressed.size()))
                            .append(compressed));
        connection.send(updateOf(0, 0, side, side / 2, 1).u16(0).u16(side / 2));
    }));
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(1920, 1920));
    EXPECT_TRUE(remote.shows(1000, 1000, grayColour));
    EXPECT_TRUE(remote.hangUp());
    EXPECT_LE(remote.peakMemory(), 3 * 4.0 * side * side / 1048576);
}

TEST(VNCStream, ManySizesTakeTheMemoryOfFew) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer keeps what is given back";
#endif
    const auto peakMemoryOf = [](int changes) {
        const ListeningServer server(desktop(1280, 720, [&](ServerSide& side) {
            for (int number = 1; number <= changes; ++number) {
                const int width = number % 2 == 0 ? 1280 : 1361;
                side.receive();
                side.send(update(2)
                              .rectangle(0, 0, width, 720, -223)
                              .rectangle(0, 0, width, 720, 0)
                              .append(Bytes(static_cast<std::size_t>(width) * 720 * 4, gray)));
                usleep(50'000); // Frames are made meanwhile.
            }
        }));
        Program remote(server.port());
        for (int number = 0; number <= changes; ++number)
            EXPECT_TRUE(remote.frame(FrameType::announcement));
        remote.closeInput();
        EXPECT_EQ(remote.wait(), 0);
        return remote.peakMemory();
    };
    EXPECT_LE(peakMemoryOf(40), 1.3 * peakMemoryOf(2));
}

TEST(VNCStream, ANewSizeIsAnnouncedOnceBeforeItIsSeenHoweverOften) {
    constexpr int changes = 30;
    const auto widthAt = [](int number) { return 64 + 2 * number; };
    const ListeningServer server([&](ServerSide& side) {
        // With this name an announcement takes its time, which no frame may use to overtake it.
        side.send(greeting(widthAt(0), 64, std::string(1'000'000, 'n')));
        for (int number = 1; number <= changes; ++number) {
            side.receive();
            side.send(update(3)
                          .rectangle(0, 0, 10, 10, -223)
                          .rectangle(0, 0, widthAt(number), 64, -223)
                          .rectangle(0, 0, widthAt(number), 64, 0)
                          .append(Bytes(static_cast<std::size_t>(widthAt(number)) * 64 * 4, gray)));
        }
    });
    Program remote(server.port(), R"({"t":"start","fps":60})"
                                  "\n");
    for (int number = 0; number <= changes; ++number)
        EXPECT_EQ(remote.announced(), Program::Size(widthAt(number), 64));
    EXPECT_TRUE(remote.shows(0, 0, grayColour));
}

TEST(VNCStream, AFloodOfUpdatesIsThinnedToTheFrameRate) {
    constexpr int fps = 20;
    const ListeningServer server(desktop(64, 64, [](ServerSide& side) {
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
    }));
    Program remote(server.port(), R"({"t":"start","fps":20})"
                                  "\n");
    EXPECT_EQ(remote.announced(), Program::Size(64, 64));
    EXPECT_TRUE(remote.shows(52, 20, grayColour));
    EXPECT_TRUE(remote.hangUp());
    const auto& film = remote.film;
    ASSERT_GE(film.size(), 2u);
    EXPECT_GE(film.back().microseconds - film.front().microseconds,
              (film.size() - 1) * 1'000'000 / fps * 9 / 10);
}

TEST(VNCStream, ANewRateIsKept) {
    constexpr int side = 128;
    const ListeningServer server(desktop(side, side, [](ServerSide& connection) {
        std::minstd_rand random;
        while (!connection.receive().empty()) {
            auto noise = solidRaw(0, 0, side, side, 0);
            std::generate(noise.end() - side * side * 4, noise.end(), std::ref(random));
            connection.send(noise);
        }
    }));
    Program remote(server.port(), R"({"t":"start","kbps":20000})"
                                  "\n");
    ASSERT_TRUE(remote.announced() == Program::Size(side, side) && remote.nextVideo());
    remote.send({{"t", "rate"}, {"kbps", 200}});
    std::map<std::uint64_t, std::size_t> bytesBySecond;
    while (bytesBySecond.size() < 5) {
        const auto frame = remote.nextVideo().value();
        bytesBySecond[frame.microseconds / 1'000'000] += frame.stream.size();
    }
    // The last one has only begun.
    EXPECT_LE(std::prev(bytesBySecond.end(), 2)->second, 200'000 / 8 * 3 / 2);
}

TEST(VNCStream, ThousandsOfMessagesArriveInTheirOrder) {
    constexpr int side = 100;
    Wire received;
    Wire expected;
    {
        const ListeningServer server(desktop(side, side, [&](ServerSide& connection) {
            connection.receiveAll();
            for (const auto& bytes : connection.received())
                received.append(bytes);
        }));
        Program remote(server.port());
        for (int at = 0; at < side * side; ++at) {
            remote.send({{"t", "move"},
                         {"x", (at % side + 0.1) / (side - 1)},
                         {"y", (at / side + 0.1) / (side - 1)}});
            expected.u8(5).u8(0).u16(at % side).u16(at / side);
        }
        remote.closeInput();
        EXPECT_EQ(remote.announced(), Program::Size(side, side));
        EXPECT_TRUE(remote.ends());
    }
    // The session's own first request may stand anywhere among them.
    const Wire request = Wire().u16(0x0300).zeros(4).u16(side).u16(side);
    const auto found = std::ranges::search(received, request);
    ASSERT_FALSE(found.empty());
    received.erase(found.begin(), found.end());
    ASSERT_GE(received.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.rbegin(), expected.rend(), received.rbegin()));
}

TEST(VNCStream, NoFrameShowsARectangleByHalf) {
    constexpr int side = 256; // more than is drawn at once
    const ListeningServer server(desktop(side, side, [](ServerSide& connection) {
        for (const std::uint8_t shade : {std::uint8_t{40}, std::uint8_t{120}, gray}) {
            const auto bytes = solidRaw(0, 0, side, side, shade);
            const std::span<const std::uint8_t> update(bytes);
            connection.send(update.first(bytes.size() * 3 / 4));
            usleep(300'000); // Several frames become due meanwhile.
            connection.send(update.subspan(bytes.size() * 3 / 4));
        }
    }));
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(side, side));
    EXPECT_TRUE(remote.shows(20, 20, grayColour));
    for (const auto& picture : remote.pictures())
        EXPECT_NEAR(picture.at(20, 20)[0], picture.at(20, side - 20)[0], 8);
}

TEST(VNCStream, ThousandsOfSizesCostNoMoreThanOneAndScreensfulOfCopiesEndIt) {
    constexpr int many = 60'000;
    constexpr int side = orvel::Framebuffer::maxSide;
    const ListeningServer server(desktop(64, 64, [](ServerSide& connection) {
        auto sizes = update(many + 1);
        for (int number = 0; number < many / 2; ++number)
            sizes.rectangle(0, 0, side, side - number % 2, -223)
                .rectangle(side / 2, side / 2, 1, 1, 0)
                .u32(0);
        connection.send(sizes.rectangle(0, 0, side, side, -223));
        auto copies = update(many);
        for (int number = 0; number < many; ++number)
            copies.rectangle(0, 1, side, side - 1, 1).u32(0);
        connection.send(copies);
    }));
    Program remote(server.port());
    EXPECT_EQ(remote.announced(), Program::Size(64, 64));
    EXPECT_EQ(remote.announced(), Program::Size(1920, 1920));
    EXPECT_EQ(remote.error(),
              "remote_protocol: The remote desktop sent more pixels than its picture holds.");
}
