#include "support/Program.h"
#include "support/ScriptedServer.h"
#include "support/Wire.h"
#include "support/XClient.h"
#include "support/XServer.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

using namespace test;

namespace {

const std::string start = R"({"t":"start","fps":30,"kbps":20000})";

Program::Words command(const std::string& name, const TCPPort& server) {
    return {name, "--host", "127.0.0.1", "--port", std::to_string(server.port())};
}

/// Noise all over the screen, as long as it takes, and then one colour.
void paint(const XClient& client, std::chrono::milliseconds time, std::uint32_t colour) {
    const auto surface = client.showWindow({0, 0, 640, 480}, {.overrideRedirect = true});
    std::vector<std::uint32_t> noise(std::size_t{640} * 480);
    std::minstd_rand random;
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
        std::ranges::generate(noise, [&] { return random(); });
        client.putImage(surface, {0, 0, 640, 480}, noise);
        client.sync();
        usleep(16'000);
    }
    client.fill(surface, {0, 0, 640, 480}, colour);
    client.sync();
}

} // namespace

TEST(Parent, IsNoticedToBeGoneAtEveryStage) {
    const XServer still;
    const XServer stuck;
    const XClient grabbing(stuck.display());
    xcb_grab_server(grabbing.connection());
    grabbing.sync();
    const BusyPort busy;
    for (const auto streams : {Streams::pipes, Streams::sockets}) {
        std::atomic<int> connected = 0;
        const auto mute = [&](ServerSide& side) {
            ++connected;
            side.receive();
        };
        const ListeningServer first(mute);
        const ListeningServer second(mute);
        Program probing(command("vnc-test", first), std::nullopt, streams);
        probing.closeInput();
        Program greeting(command("vnc", second), std::nullopt, streams);
        greeting.line(start);
        Program connecting(command("vnc", busy), std::nullopt, streams);
        connecting.line(start);
        Program asking(Program::Words{"info"}, stuck.display(), streams);
        Program streaming(Program::Words{"stream"}, still.display(), streams);
        streaming.line(start);
        for (int picture = 0; picture < 3; ++picture)
            ASSERT_TRUE(streaming.nextVideo());
        ASSERT_TRUE(eventually([&] { return connected == 2; }));
        for (auto* each : {&probing, &greeting, &connecting, &asking, &streaming}) {
            each->closeOutput();
            EXPECT_EQ(each->wait(), 0);
        }
    }
}

TEST(Parent, IsToldWhyNothingStartsEvenIfItHasSaidAll) {
    const ListeningServer slow([](ServerSide& side) {
        std::this_thread::sleep_for(1s);
        side.send(Wire().text("RFB 003.003\n").u32(0).string("Too many."));
    });
    Program remote(slow.port());
    remote.closeInput();
    EXPECT_EQ(remote.error(), "remote_protocol: Too many.");
}

TEST(Parent, ThatPausesGetsTheNewestFrameAndThatStopsReadingHoldsNothingUp) {
    const XServer server;
    const XClient client(server.display());
    Program pausing(Program::Words{"stream"}, server.display(), Streams::nonBlockingPipes);
    Program stopping(Program::Words{"stream"}, server.display());
    for (auto* each : {&pausing, &stopping}) {
        each->line(start);
        ASSERT_EQ(each->announced(), Program::Size(640, 480));
    }
    const Descriptor pipe(open(("/proc/" + std::to_string(stopping.id()) + "/fd/1").c_str(),
                               O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(fcntl(pipe.get(), F_GETPIPE_SZ), 262144);

    paint(client, 3s, 0x808080);
    std::this_thread::sleep_for(1500ms); // Past the times at which a lone frame is sent again.
    stopping.closeInput();
    EXPECT_TRUE(pausing.shows(20, 40, 0x808080));
    EXPECT_GT(pausing.stream().size(), std::size_t{262144}) << "more than the pipe holds";
    const auto pause = std::ranges::adjacent_find(pausing.film, [](const auto& a, const auto& b) {
        return b.microseconds - a.microseconds > 1'000'000;
    });
    EXPECT_NE(pause, pausing.film.end()) << "stale frames";
    EXPECT_TRUE(pausing.hangUp());
    EXPECT_EQ(stopping.wait(), 0);
}
