#include "platform/Permissions.h"
#include "platform/ScreenCapture.h"
#include "support/Files.h"
#include "support/XClient.h"
#include "support/XServer.h"
#include "system/Recorder.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/shm.h>
#include <xcb/shm.h>

#include <atomic>
#include <fstream>
#include <random>
#include <thread>

using namespace test;
using platform::CaptureError;
using platform::CaptureStream;

namespace {

constexpr std::uint32_t red = 0xC02010;
constexpr std::uint32_t green = 0x20A040;
constexpr std::uint32_t blue = 0x2030D0;
constexpr std::uint32_t white = 0xFFFFFF;

/// A server, a client that draws on it, and what the screen is to look like.
class CaptureTest : public testing::Test {
protected:
    explicit CaptureTest(const std::vector<std::string>& serverOptions = {})
        : server("320x240x24", serverOptions),
          client(server.display()) {
        setenv("DISPLAY", server.display().c_str(), 1);
        fill({0, 0, 320, 240}, white);
        client.sync();
    }

    void fill(Box box, std::uint32_t colour) {
        client.fill(client.root(), box, colour);
        expected.fill(box, colour);
    }

    /// What was drawn so far, and nothing else.
    testing::AssertionResult isShownBy(const Recorder& recorder) const {
        client.sync();
        return recorder.shows(expected);
    }

    void randr(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"xrandr", "-d", server.display()});
        Process xrandr(arguments);
        EXPECT_EQ(xrandr.wait(), 0);
    }

    XServer server;
    XClient client;
    Screenshot expected{320, 240};
};

/// On servers that lack one thing or another.
class CaptureOnServer : public CaptureTest, public testing::WithParamInterface<const char*> {
protected:
    CaptureOnServer()
        : CaptureTest(*GetParam() ? std::vector<std::string>{"-extension", GetParam()}
                                  : std::vector<std::string>{}) {}
};

Screenshot noise(int width, int height) {
    std::mt19937 random(3);
    Screenshot shot(width, height);
    for (auto& pixel : shot.pixels)
        pixel = random() & 0xFFFFFF;
    return shot;
}

} // namespace

TEST_P(CaptureOnServer, ShowsTheScreenAndEveryChange) {
    const auto screen = noise(320, 240);
    client.putImage(client.root(), {0, 0, 320, 240}, screen.pixels);
    client.sync();
    expected = screen;
    Recorder recorder;
    ASSERT_TRUE(isShownBy(recorder));

    fill({33, 50, 3, 2}, red);
    ASSERT_TRUE(isShownBy(recorder));

    std::mt19937 random(5);
    for (int dot = 0; dot < 400; ++dot)
        fill({static_cast<int>(random() % 320), static_cast<int>(random() % 240), 1, 1},
             static_cast<std::uint32_t>(random() & 0xFFFFFF));
    EXPECT_TRUE(isShownBy(recorder));
}
INSTANTIATE_TEST_SUITE_P(All, CaptureOnServer,
                         testing::Values("", "MIT-SHM", "DAMAGE", "XFIXES", "RANDR",
                                         "XInputExtension"));

TEST_F(CaptureTest, TellsWhichBlocksChanged) {
    Recorder recorder;
    ASSERT_TRUE(isShownBy(recorder));
    const auto before = recorder.latest();
    // Drawn over with what was there already: damage, but no change.
    fill({100, 100, 60, 60}, white);
    fill({33, 50, 3, 2}, red);
    ASSERT_TRUE(isShownBy(recorder));
    const auto after = recorder.latest();
    EXPECT_EQ(after->changes.predecessor, before->changes.serial);
    std::vector<std::uint8_t> blocks(20 * 15);
    blocks[3 * 20 + 2] = 1;
    EXPECT_EQ(after->changes.changedBlocks, blocks);
}

TEST_F(CaptureTest, AnIdleDesktopWakesNobody) {
    Recorder recorder;
    ASSERT_TRUE(isShownBy(recorder));
    EXPECT_TRUE(recorder.fallsAsleep());
    EXPECT_EQ(recorder.count(), 1u);
    fill({10, 10, 20, 20}, green);
    EXPECT_TRUE(isShownBy(recorder)) << "it does not wake up again";
}

TEST_F(CaptureTest, KeepsTheIntervalAndEndsOnTheNewestPicture) {
    constexpr auto interval = 50ms;
    Recorder recorder({.interval = interval});
    for (int step = 0; step < 100; ++step) {
        fill({0, 0, 100, 100}, static_cast<std::uint32_t>(step * 0x020202));
        client.sync();
        std::this_thread::sleep_for(3ms);
    }
    EXPECT_TRUE(isShownBy(recorder));
    const auto times = recorder.times();
    // What starts late does not put off the next one by more than a part of the interval.
    for (std::size_t index = 1; index < times.size(); ++index)
        EXPECT_GE(times[index] - times[index - 1], interval * 3 / 4);
    EXPECT_GT(times.size(), 3u);
}

TEST_F(CaptureTest, WaitsForPicturesToComeBack) {
    Recorder recorder({.queueDepth = 2, .keepAll = true});
    ASSERT_TRUE(eventually([&] { return recorder.count() == 1; }));
    fill({0, 0, 50, 50}, red);
    client.sync();
    ASSERT_TRUE(eventually([&] { return recorder.count() == 2; }));
    fill({0, 0, 50, 50}, green);
    fill({70, 70, 50, 50}, blue);
    client.sync();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(recorder.count(), 2u) << "more pictures than agreed on";
    recorder.release();
    EXPECT_TRUE(isShownBy(recorder));
}

TEST_F(CaptureTest, ScalesIntoTheSizeAskedFor) {
    fill({0, 0, 160, 240}, red);
    fill({160, 0, 160, 240}, blue);
    client.sync();
    Recorder recorder({.width = 160, .height = 120});
    Screenshot half(160, 120);
    half.fill({0, 0, 80, 120}, red);
    half.fill({80, 0, 80, 120}, blue);
    ASSERT_TRUE(recorder.shows(half));
    fill({40, 40, 32, 32}, green);
    client.sync();
    half.fill({20, 20, 16, 16}, green);
    EXPECT_TRUE(recorder.shows(half));
}

TEST_F(CaptureTest, ShowsThePointerWhereItIsAndNowhereElse) {
    client.setCursor(client.root(), 12, 10, 3, 2);
    client.sync();
    Recorder recorder({.showsCursor = true});
    const auto pointerAt = [&](int x, int y) {
        auto shot = expected;
        shot.fill({x - 3, y - 2, 12, 10}, 0xFF0000);
        return shot;
    };
    for (const auto& [x, y] : {std::pair{100, 90}, {104, 91}, {0, 0}, {319, 239}}) {
        client.movePointer(x, y);
        client.sync();
        EXPECT_TRUE(recorder.shows(pointerAt(x, y)));
    }
    // No device moves where an application puts the pointer somewhere else.
    const auto moved = recorder.times().back();
    EXPECT_TRUE(eventually([&] {
        client.warpPointer(static_cast<int>(recorder.count() % 300), 150);
        const auto times = recorder.times();
        const auto last = times[times.size() - 2];
        return last > moved && times.back() - last < 1s;
    }));
    const auto before = recorder.count();
    client.movePointer(20, 200);
    client.sync();
    ASSERT_TRUE(eventually([&] { return recorder.count() > before; }));
    EXPECT_TRUE(recorder.shows(pointerAt(20, 200), 0ms)) << "the first picture after a move";
    // What is drawn below the pointer does not wipe it out.
    fill({0, 190, 100, 40}, green);
    client.sync();
    EXPECT_TRUE(recorder.shows(pointerAt(20, 200)));
    client.setCursor(client.root(), 20, 4, 3, 2);
    client.sync();
    auto changed = expected;
    changed.fill({17, 198, 20, 4}, 0xFF0000);
    EXPECT_TRUE(recorder.shows(changed)) << "the new cursor";

    Recorder without;
    EXPECT_TRUE(isShownBy(without));
}

TEST_F(CaptureTest, FilmsTheMonitorItIsToldToUntilThatOrTheServerIsGone) {
    randr({"--setmonitor", "right", "128/30x96/20+160+16", "none"});
    const auto right = displayNamed("right");
    EXPECT_EQ(platform::displayBounds(right), (platform::Rect{160, 16, 128, 96}));
    Recorder recorder({.display = right, .width = 128, .height = 96});
    fill({100, 0, 100, 50}, red);
    fill({280, 100, 40, 40}, blue);
    client.sync();
    ASSERT_TRUE(recorder.shows(expected.part({160, 16, 128, 96})));

    // Off for a moment, as in a change of mode.
    randr({"--delmonitor", "right"});
    randr({"--setmonitor", "right", "128/30x96/20+160+16", "none"});
    fill({170, 30, 40, 40}, green);
    client.sync();
    ASSERT_TRUE(recorder.shows(expected.part({160, 16, 128, 96})));

    const Recorder whole;
    EXPECT_EQ(recorder.stops(), 0);
    randr({"--delmonitor", "right"});
    EXPECT_TRUE(eventually([&] { return recorder.stops() == 1; }));
    server.kill();
    EXPECT_TRUE(eventually([&] { return whole.stops() == 1; }));
    EXPECT_EQ(recorder.stops(), 1);
    EXPECT_THROW(platform::shareableContent(), CaptureError);
    EXPECT_THROW(Recorder({.display = recorder.display()}), CaptureError);
}

TEST_F(CaptureTest, KeepsTheMonitorsShapeWhenItChangesAndLeavesTheRestBlack) {
    Recorder recorder;
    ASSERT_TRUE(isShownBy(recorder));
    struct Mode {
        std::string name;
        int width, height;
        int scale;
        Box shown;
    };
    for (const auto& [name, width, height, scale, shown] :
         {Mode{"same", 160, 120, 2, {0, 0, 320, 240}},
          {"tall", 92, 240, 1, {114, 0, 92, 240}},
          {"low", 160, 60, 2, {0, 60, 320, 120}},
          {"tiny", 40, 120, 2, {120, 0, 80, 240}}}) {
        randr({"--newmode", name, "0", std::to_string(width), "0", "0", "0", std::to_string(height),
               "0", "0", "0"});
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

TEST_F(CaptureTest, EndsAtItsOwnersWishWithoutAStopOrAnotherPicture) {
    std::atomic<int> stops = 0;
    std::atomic<int> pictures = 0;
    {
        CaptureStream stream({displayNamed("screen"), {}}, {.width = 320, .height = 240},
                             [&] { ++stops; });
        stream.addStreamOutput(
            [&](platform::SampleType, const platform::CaptureSample&) { ++pictures; }, "test");
        stream.startCapture();
        ASSERT_TRUE(eventually([&] { return pictures == 1; }));
    }
    fill({0, 0, 320, 240}, red);
    client.sync();
    server.kill();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(stops, 0);
    EXPECT_EQ(pictures, 1);
}

TEST_F(CaptureTest, RefusesWhatItCannotFilm) {
    EXPECT_THROW(Recorder({.display = 4711}), CaptureError);
    EXPECT_THROW(Recorder({.width = 321}), CaptureError);
    EXPECT_THROW(Recorder({.height = 20000}), CaptureError);
}

TEST(CaptureDepth, ColoursAreRightWithFewerOrMoreBitsAndOtherPixelsAreNotPermitted) {
    const auto shows = [](const std::string& screen, std::uint32_t pixel, std::uint32_t colour) {
        const XServer server(screen);
        const XClient client(server.display());
        setenv("DISPLAY", server.display().c_str(), 1);
        const Recorder recorder({.width = 322});
        Screenshot expected(322, 240);
        for (const Box box : {Box{0, 0, 323, 240}, Box{33, 50, 5, 3}}) {
            client.fill(client.root(), box, box.x == 0 ? 0 : pixel);
            client.sync();
            expected.fill(box, box.x == 0 ? 0 : colour);
            EXPECT_TRUE(recorder.shows(expected)) << screen;
        }
    };
    shows("322x240x16", 0xC41F, 0xC682FF);
    shows("322x240x30", 0x308203FF, 0xC220FF);

    const XServer palette("320x240x8");
    setenv("DISPLAY", palette.display().c_str(), 1);
    EXPECT_FALSE(platform::preflightScreenCaptureAccess());
    EXPECT_THROW(Recorder{}, CaptureError);
}

TEST(CaptureOdd, ALastColumnAndRowAreLeftOutSoThatTextStaysSharp) {
    const XServer odd("321x241x24");
    const XClient painter(odd.display());
    setenv("DISPLAY", odd.display().c_str(), 1);
    Screenshot lines(321, 241);
    for (int x = 0; x < 321; x += 2)
        lines.fill({x, 0, 1, 241}, white);
    painter.putImage(painter.root(), {0, 0, 321, 241}, lines.pixels);
    painter.sync();
    EXPECT_TRUE(Recorder().shows(lines.part({0, 0, 320, 240})));
}

TEST_F(CaptureTest, FilmsWithoutAnyMonitor) {
    randr({"--fb", "320x240", "--output", "screen", "--off"});
    Recorder recorder;
    EXPECT_TRUE(isShownBy(recorder));
}

TEST(CaptureFar, FilmsFarToTheRight) {
    const XServer wide("16900x64x24");
    const XClient painter(wide.display());
    setenv("DISPLAY", wide.display().c_str(), 1);
    Process xrandr(
        {"xrandr", "-d", wide.display(), "--setmonitor", "far", "320/9x64/9+16500+0", "none"});
    ASSERT_EQ(xrandr.wait(), 0);
    painter.fill(painter.root(), {16500, 0, 320, 64}, red);
    painter.fill(painter.root(), {16700, 0, 20, 20}, blue);
    painter.sync();
    Screenshot far(320, 64);
    far.fill({0, 0, 320, 64}, red);
    far.fill({200, 0, 20, 20}, blue);
    EXPECT_TRUE(Recorder({.display = displayNamed("far"), .height = 64}).shows(far));
}

TEST(CaptureMemory, NoMemoryIsTakenForSharedThatIsNotAndNoneIsMissedForLong) {
    if (unshare(CLONE_NEWIPC) != 0)
        GTEST_SKIP() << "a namespace of one's own needs privileges";
    // The server's namespace has a segment where the program's will have its own.
    const int foreign = shmget(IPC_PRIVATE, 4 << 20, IPC_CREAT | 0600);
    const XServer server("320x240x24", {"-listen", "tcp"});
    ASSERT_EQ(unshare(CLONE_NEWIPC), 0);
    const XClient client(server.display());
    Screenshot expected(320, 240);
    const auto isShownBy = [&](const Recorder& recorder, std::uint32_t colour) {
        client.fill(client.root(), {0, 0, 320, 240}, colour);
        client.fill(client.root(), {100, 90, 30, 20}, white);
        client.sync();
        expected.fill({0, 0, 320, 240}, colour);
        expected.fill({100, 90, 30, 20}, white);
        return recorder.shows(expected);
    };
    // One connection that passes descriptors, and one that can't.
    for (const auto& display : {server.display(), "127.0.0.1" + server.display()}) {
        setenv("DISPLAY", display.c_str(), 1);
        const Recorder recorder;
        EXPECT_TRUE(isShownBy(recorder, red)) << display;
        // Whatever the segment's number is: it is gone, as with a server that loses its memory.
        for (std::uint32_t each = 1; each < 32; ++each)
            for (std::uint32_t number = 0; number < 64; ++number)
                xcb_shm_detach(client.connection(), each << 21U | number);
        EXPECT_TRUE(isShownBy(recorder, green)) << display;
        EXPECT_EQ(recorder.stops(), 0);
    }
    shmctl(foreign, IPC_RMID, nullptr);
}

TEST(CaptureUnreported, ChangesThatTheServerDoesNotReportAreFoundFasterTheMoreThereAre) {
    const TemporaryDirectory directory;
    const XServer server("320x240x24", {"-fbdir", directory.path});
    setenv("DISPLAY", server.display().c_str(), 1);
    const Recorder recorder;
    Screenshot expected(320, 240);
    ASSERT_TRUE(recorder.shows(expected));
    // The server keeps the screen at the end of this file: what is written there can be seen.
    std::fstream screen(directory.path / "Xvfb_screen0");
    const auto draw = [&](std::uint32_t colour) {
        const std::vector<std::uint32_t> lines(320 * 100, colour);
        screen.seekp(-4 * 320 * 100, std::ios::end);
        screen.write(reinterpret_cast<const char*>(lines.data()), 4 * 320 * 100).flush();
        expected.fill({0, 140, 320, 100}, colour);
    };
    draw(green);
    EXPECT_TRUE(recorder.shows(expected));
    std::uint32_t colour = 0;
    EXPECT_TRUE(eventually([&] {
        draw(++colour * 0x40201);
        const auto times = recorder.times();
        return times.back() - times[times.size() - 2] < 1s;
    }));
    draw(red);
    EXPECT_TRUE(recorder.shows(expected));
}
