#include "rfb/Framebuffer.h"
#include "support/Program.h"
#include "support/ScriptedServer.h"
#include "support/Updates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>

/// The whole program with a server that does what no usual one does.
using namespace test;
using orvel::FrameType;

namespace {

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

TEST(VNCScreens, OfAnySizeArriveWhole) {
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

TEST(VNCScreens, TheLargestTakesTheMemoryOfThreePicturesAtMost) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer takes more memory than the program";
#endif
    constexpr int side = orvel::Framebuffer::longestSide;
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

TEST(VNCScreens, ThatChangeTheirSizeAllTheTimeAreAnnouncedBeforeTheyAreSeen) {
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

TEST(VNCScreens, AFloodOfUpdatesIsThinnedToTheFrameRate) {
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

TEST(VNCScreens, AParentThatDoesNotReadGetsTheWholeFilmLater) {
    std::atomic<bool> over = false;
    ListeningServer server([&](ServerSide& side) {
        constexpr int w = 320;
        constexpr int h = 240;
        side.send(greeting(w, h));
        std::minstd_rand random;
        test::Bytes noise(std::size_t{w} * h * 4);
        for (int number = 0; number < 60; ++number) {
            side.receive();
            std::ranges::generate(noise, [&] { return static_cast<std::uint8_t>(random() >> 8); });
            side.send(updateOf(0, 0, w, h, 0).append(noise));
            usleep(16'000);
        }
        side.send(solidRaw(0, 0, w, h, gray));
        over = true;
        receiveToTheEnd(side);
    });
    Program remote(server.port(), R"({"t":"start","fps":60,"kbps":20000})"
                                  "\n");
    ASSERT_TRUE(eventually([&] { return over.load(); }));
    EXPECT_EQ(remote.announced(), Program::Size(320, 240));
    EXPECT_TRUE(remote.shows(20, 20, grayColour));
    EXPECT_GT(remote.stream().size(), std::size_t{300'000}) << "more than a pipe holds";
    EXPECT_TRUE(remote.hangUp());
}

TEST(VNCScreens, ThousandsOfMessagesArriveInTheirOrder) {
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
