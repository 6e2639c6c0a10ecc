#include "platform/Permissions.h"
#include "platform/ScreenCapture.h"
#include "support/Files.h"
#include "support/XClient.h"
#include "support/XServer.h"
#include "system/Recorder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/shm.h>
#include <xcb/shm.h>

#include <fstream>
#include <random>
#include <thread>

using namespace test;
using platform::CaptureError;

namespace {

constexpr std::uint32_t red = 0xC02010;
constexpr std::uint32_t green = 0x20A040;
constexpr std::uint32_t blue = 0x2030D0;
constexpr std::uint32_t white = 0xFFFFFF;

/// A server of its own, which DISPLAY names, a client that draws on it, and what the screen is to
/// look like.
class Desktop {
public:
    explicit Desktop(int width = 320, int height = 240,
                     const std::vector<std::string>& serverOptions = {})
        : server(std::to_string(width) + "x" + std::to_string(height) + "x24", serverOptions),
          client(server.display()),
          expected(width, height) {
        setenv("DISPLAY", server.display().c_str(), 1);
        fill({0, 0, width, height}, white);
        client.sync();
    }

    void fill(Box box, std::uint32_t colour) {
        client.fill(client.root(), box, colour);
        expected.fill(box, colour);
    }

    /// What was drawn so far, and nothing else; on a part of the screen if it is not all.
    testing::AssertionResult isShownBy(const Recorder& recorder, Box part = {}) const {
        client.sync();
        return recorder.shows(part.width > 0 ? expected.part(part) : expected);
    }

    /// Changes the screen again and again until three frames in a row came within this time, which
    /// they never do if changes are only found by looking at everything now and then.
    template<class Change>
    bool isFollowed(const Recorder& recorder, std::chrono::nanoseconds limit, Change change) const {
        const auto before = recorder.count();
        return eventually([&] {
            change();
            client.sync();
            const auto times = recorder.times();
            return times.size() > before + 2 && times.back() - times[times.size() - 3] < limit;
        });
    }

    void randr(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"xrandr", "-d", server.display()});
        EXPECT_EQ(Process(arguments).wait(), 0);
    }

    XServer server;
    XClient client;
    Screenshot expected;
};

class CaptureTest : public testing::Test, protected Desktop {};

} // namespace

TEST(CaptureOnServer, ShowsTheScreenAndEveryChangeWhateverTheServerLacks) {
    for (const std::string lacking : {"GLX", "MIT-SHM", "DAMAGE", "XFIXES", "RANDR"}) {
        Desktop desktop(330, 244, {"-extension", lacking});
        const Recorder recorder({.width = 330, .height = 244});
        std::mt19937 random(5);
        for (const int dots : {0, 400, 1}) {
            for (int dot = 0; dot < dots; ++dot)
                desktop.fill(
                    {static_cast<int>(random() % 330), static_cast<int>(random() % 244), 1, 1},
                    static_cast<std::uint32_t>(random() & 0xFFFFFF));
            ASSERT_TRUE(desktop.isShownBy(recorder)) << lacking;
        }
        desktop.fill({329, 243, 1, 1}, red); // In blocks that both edges cut off.
        EXPECT_TRUE(desktop.isShownBy(recorder)) << lacking;
    }
}

TEST_F(CaptureTest, WakesNobodyUntilSomethingChangesAndTellsWhichBlocksDid) {
    const Recorder recorder;
    ASSERT_TRUE(isShownBy(recorder));
    EXPECT_TRUE(recorder.fallsAsleep());
    EXPECT_EQ(recorder.count(), 1u);
    const auto serial = recorder.latest()->changes.serial;
    fill({100, 100, 60, 60}, white); // With what was there already: damage, but no change.
    fill({33, 50, 3, 2}, red);
    ASSERT_TRUE(isShownBy(recorder));
    EXPECT_EQ(recorder.latest()->changes.predecessor, serial);
    std::vector<std::uint8_t> blocks(20 * 15);
    blocks[3 * 20 + 2] = 1;
    EXPECT_EQ(recorder.latest()->changes.changedBlocks, blocks);
}

TEST_F(CaptureTest, KeepsTheIntervalAndTheNumberOfFramesInFlightAndEndsOnTheNewest) {
    Recorder recorder({.interval = 50ms, .queueDepth = 4, .keepAll = true});
    std::uint32_t colour = 0;
    const auto draw = [&] {
        fill({0, 0, 100, 100}, ++colour * 0x020202);
        client.sync();
        return recorder.count() == 4;
    };
    ASSERT_TRUE(eventually(draw));
    EXPECT_GE(recorder.times().back() - recorder.times().front(), 140ms) << "they come too soon";
    std::this_thread::sleep_for(200ms);
    EXPECT_TRUE(draw()) << "there are more than agreed on";
    recorder.release();
    EXPECT_TRUE(isShownBy(recorder));
}

TEST_F(CaptureTest, ShowsThePointerWhereItIsAndNowhereElse) {
    const Recorder recorder({.showsCursor = true});
    ASSERT_TRUE(eventually([&] { return recorder.count() == 1; }));
    client.setCursor(client.root(), 12, 10, 3, 2);
    const auto isAt = [&](int x, int y, std::chrono::milliseconds limit = patience) {
        auto shot = expected;
        shot.fill({x - 3, y - 2, 12, 10}, 0xFF0000);
        client.sync();
        return recorder.shows(shot, limit);
    };
    const auto number = [&] { return static_cast<int>(recorder.count() % 300); };
    EXPECT_TRUE(isFollowed(recorder, 120ms, [&] { client.movePointer(number(), 90); }));
    // No device moves where an application puts the pointer somewhere else.
    EXPECT_TRUE(isFollowed(recorder, 2s, [&] { client.warpPointer(number(), 150); }));
    for (const auto& [x, y] : {std::pair{100, 90}, {104, 91}, {0, 0}, {319, 239}}) {
        client.movePointer(x, y);
        EXPECT_TRUE(isAt(x, y));
    }
    const auto before = recorder.count();
    client.movePointer(20, 200);
    client.sync();
    ASSERT_TRUE(eventually([&] { return recorder.count() > before; }));
    EXPECT_TRUE(isAt(20, 200, 0ms)) << "the first frame after a move";
    // What is drawn below the pointer does not wipe it out.
    fill({0, 190, 100, 40}, green);
    EXPECT_TRUE(isAt(20, 200));
}

TEST_F(CaptureTest, ShowsTheMonitorItIsToldToUntilThatOrTheServerIsGone) {
    constexpr Box place{160, 16, 128, 96};
    const std::vector<std::string> plugIn{"--setmonitor", "right", "128/30x96/20+160+16", "none"};
    randr(plugIn);
    const auto right = displayNamed("right");
    EXPECT_EQ(platform::displayBounds(right), (platform::Rect{160, 16, 128, 96}));
    const Recorder recorder({.display = right, .width = 128, .height = 96});
    fill({280, 100, 40, 40}, blue); // Partly outside.
    ASSERT_TRUE(isShownBy(recorder, place));
    std::uint32_t colour = 0;
    EXPECT_TRUE(isFollowed(recorder, 120ms, [&] { fill({170, 30, 20, 20}, ++colour * 0x020202); }));

    // Off for a moment, as in a change of mode.
    randr({"--delmonitor", "right"});
    randr(plugIn);
    fill({170, 30, 40, 40}, green);
    ASSERT_TRUE(isShownBy(recorder, place));

    const Recorder whole;
    EXPECT_EQ(recorder.stops(), 0);
    randr({"--delmonitor", "right"});
    EXPECT_TRUE(eventually([&] { return recorder.stops() == 1; }));
    EXPECT_THROW(Recorder({.display = right}), CaptureError);
    server.kill();
    EXPECT_TRUE(eventually([&] { return whole.stops() == 1; }));
    EXPECT_EQ(recorder.stops(), 1);
    EXPECT_THROW(platform::shareableContent(), CaptureError);
}

TEST_F(CaptureTest, KeepsTheMonitorsShapeWhenItChangesAndLeavesTheRestBlack) {
    Recorder recorder;
    ASSERT_TRUE(isShownBy(recorder));
    for (const auto& [width, height, shown] : {std::tuple{160, 120, Box{0, 0, 320, 240}},
                                               {92, 240, {114, 0, 92, 240}},
                                               {160, 60, {0, 60, 320, 120}},
                                               {40, 120, {120, 0, 80, 240}}}) {
        const int scale = shown.width / width;
        const auto across = std::to_string(width), down = std::to_string(height);
        const auto name = across + "x" + down;
        randr({"--newmode", name, "0", across, "0", "0", "0", down, "0", "0", "0"});
        randr({"--addmode", "screen", name});
        randr({"--output", "screen", "--mode", name});
        Screenshot framed(320, 240);
        for (const auto& [box, colour] : {std::pair{Box{0, 0, width, height}, blue},
                                          {Box{20, 30, 8, 16}, red},
                                          {Box{0, 50, 2, 6}, green}}) {
            client.fill(client.root(), box, colour);
            client.sync();
            framed.fill({shown.x + box.x * scale, shown.y + box.y * scale, box.width * scale,
                         box.height * scale},
                        colour);
            ASSERT_TRUE(recorder.shows(framed)) << name;
        }
    }
    randr({"--output", "screen", "--mode", "320x240"});
    fill({0, 0, 320, 240}, green);
    EXPECT_TRUE(isShownBy(recorder));
    EXPECT_EQ(recorder.stops(), 0);
}

TEST(CaptureDepth, ColoursAreRightWithFewerOrMoreBitsAndOtherPixelsAreNotPermitted) {
    for (const auto& [depth, pixel, colour] :
         {std::tuple{"16", 0xC41FU, 0xC682FFU}, {"30", 0x308203FFU, 0xC220FFU}}) {
        const XServer server("322x240x" + std::string(depth));
        const XClient client(server.display());
        setenv("DISPLAY", server.display().c_str(), 1);
        const Recorder recorder({.width = 322});
        Screenshot expected(322, 240);
        ASSERT_TRUE(recorder.shows(expected)) << depth;
        client.fill(client.root(), {33, 50, 289, 3}, pixel);
        client.sync();
        expected.fill({33, 50, 289, 3}, colour);
        EXPECT_TRUE(recorder.shows(expected)) << depth;
    }
    const XServer palette("320x240x8");
    setenv("DISPLAY", palette.display().c_str(), 1);
    EXPECT_FALSE(platform::preflightScreenCaptureAccess());
    EXPECT_THROW(Recorder{}, CaptureError);
}

TEST(CaptureScreens, AreShownWithoutAMonitorSharplyIfTheyAreOddAndFarToTheRight) {
    {
        const Desktop bare;
        bare.randr({"--fb", "320x240", "--output", "screen", "--off"});
        EXPECT_TRUE(bare.isShownBy(Recorder()));
    }
    {
        Desktop odd(321, 241);
        for (int x = 0; x < 321; x += 2)
            odd.fill({x, 0, 1, 241}, 0);
        EXPECT_TRUE(odd.isShownBy(Recorder(), {0, 0, 320, 240}));
    }
    Desktop wide(16900, 64);
    wide.randr({"--setmonitor", "far", "320/9x64/9+16500+0", "none"});
    Screenshot small(46, 8); // Rounded down from 46 by 9.2, which leaves no room for bars.
    small.fill({0, 0, 46, 8}, white);
    EXPECT_TRUE(Recorder({.display = displayNamed("far"), .width = 46, .height = 8}).shows(small));
    wide.fill({16700, 0, 20, 20}, blue);
    const Recorder recorder({.display = displayNamed("far"), .height = 64});
    EXPECT_TRUE(wide.isShownBy(recorder, {16500, 0, 320, 64}));
}

TEST(CaptureMemory, IsSharedWhereItCanBeAndNoneIsMissedForLongThatIsNot) {
    if (unshare(CLONE_NEWIPC) != 0)
        GTEST_SKIP() << "a namespace of one's own needs privileges";
    Desktop desktop;
    // One connection passes descriptors, and one can't, though the server takes it for one of this
    // machine.
    const auto digits = desktop.server.display().substr(1);
    Process relay({"sh", "-c",
                   "exec socat -dd TCP-LISTEN:" + std::to_string(6000 + std::stoi(digits)) +
                       ",bind=127.0.0.1,reuseaddr,fork UNIX-CONNECT:/tmp/.X11-unix/X" + digits +
                       " 2>&1"});
    ASSERT_NE(relay.firstLine().find("listening"), std::string::npos);
    // The server's namespace has a segment where the program's will have its own.
    const int foreign = shmget(IPC_PRIVATE, 4 << 20, IPC_CREAT | 0600);
    const Descriptor serversNamespace(open("/proc/self/ns/ipc", O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(unshare(CLONE_NEWIPC), 0);
    for (const std::string host : {"", "127.0.0.1"}) {
        setenv("DISPLAY", (host + desktop.server.display()).c_str(), 1);
        const Recorder recorder;
        desktop.fill({100, 90, 30, 20}, red);
        EXPECT_TRUE(desktop.isShownBy(recorder)) << host;
        // Whatever the segment's number is: it is gone, as with a server that loses its memory.
        for (std::uint32_t each = 1; each < 32; ++each)
            for (std::uint32_t number = 0; number < 64; ++number)
                xcb_shm_detach(desktop.client.connection(), each << 21U | number);
        desktop.fill({100, 90, 30, 20}, green);
        EXPECT_TRUE(desktop.isShownBy(recorder)) << host;
    }
    ASSERT_EQ(setns(serversNamespace.get(), CLONE_NEWIPC), 0);
    shmctl(foreign, IPC_RMID, nullptr);
    const Recorder recorder;
    EXPECT_TRUE(desktop.isShownBy(recorder));
    shmid_ds segment{};
    shmctl(shmctl(0, SHM_INFO, &segment), SHM_STAT, &segment);
    EXPECT_EQ(segment.shm_nattch, 2U) << "a segment could be shared, and is not";
}

TEST(CaptureUnreported, ChangesThatTheServerDoesNotReportAreFoundFasterTheMoreThereAre) {
    const TemporaryDirectory directory;
    Desktop desktop(320, 240, {"-fbdir", directory.path});
    const Recorder recorder;
    ASSERT_TRUE(desktop.isShownBy(recorder));
    // The server keeps the screen at the end of this file: what is written there can be seen.
    std::fstream screen(directory.path / "Xvfb_screen0");
    std::uint32_t colour = 0;
    const auto draw = [&] {
        const std::vector<std::uint32_t> lines(320 * 100, ++colour * 0x040201);
        screen.seekp(-4 * 320 * 100, std::ios::end);
        screen.write(reinterpret_cast<const char*>(lines.data()), 4 * 320 * 100).flush();
        desktop.expected.fill({0, 140, 320, 100}, lines[0]);
    };
    EXPECT_TRUE(desktop.isFollowed(recorder, 2s, draw));
    EXPECT_TRUE(desktop.isShownBy(recorder));
}
