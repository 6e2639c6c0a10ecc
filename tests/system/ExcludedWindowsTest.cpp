#include "support/XClient.h"
#include "support/XServer.h"
#include "system/Recorder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <thread>

using namespace test;

namespace {

constexpr std::uint32_t green = 0x20A040;
constexpr std::uint32_t blue = 0x2030D0;
constexpr std::uint32_t red = 0xC02010;
constexpr std::uint32_t secret = 0xFF00FF; // what the recorder watches for
constexpr std::uint32_t cover = 0x303438;  // what stands in their place
constexpr Box whole{0, 0, 320, 240};

using Command = std::vector<std::string>;

/// A desktop with a green window over all of it, and an application that must not be seen.
class ExcludedWindowsTest : public testing::Test {
protected:
    explicit ExcludedWindowsTest(const Command& compositor = {})
        : server("320x240x24"),
          client(server.display()) {
        setenv("DISPLAY", server.display().c_str(), 1);
        behind = client.showWindow(whole, {.colour = green});
        client.sync();
        expected.fill(whole, green);
        if (!compositor.empty())
            start(compositor);
    }

    void start(const Command& command) {
        compositor.emplace(command, std::vector<Variable>{{"DISPLAY", server.display()}}, true);
        const auto selection = client.atom("_NET_WM_CM_S0");
        ASSERT_TRUE(eventually([&] {
            const auto owner = owned(xcb_get_selection_owner_reply(
                client.connection(), xcb_get_selection_owner(client.connection(), selection),
                nullptr));
            return owner && owner->owner != XCB_NONE;
        }));
    }

    xcb_window_t excludedWindow(Box place, xcb_window_t parent = XCB_NONE) const {
        return client.createWindow(
            place, {.colour = secret, .applicationClass = "com.example.Hidden", .parent = parent});
    }

    void TearDown() override { EXPECT_EQ(recorder.value().violations(), 0); }

    /// From now on no picture may show anything secret.
    void film() {
        recorder.emplace(
            RecorderOptions{.interval = 2ms,
                            .excludedApplications = {"another.one", "com.example.Hidden"},
                            .forbidden = secret});
    }

    testing::AssertionResult isShown() const {
        client.sync();
        return recorder->shows(expected);
    }

    /// Paints until it is seen: what a program paints before the capture has heard of its window
    /// need not count.
    bool isShownOncePainted(xcb_window_t window, Box box, std::uint32_t colour) {
        return eventually([&] {
            client.fill(window, box, colour);
            client.sync();
            return recorder->shows(expected, 100ms);
        });
    }

    void comeAndGo() {
        film();
        for (int round = 0; round < 60; ++round) {
            const auto hidden = excludedWindow({(round * 37) % 200, (round * 23) % 150, 80, 60});
            client.map(hidden);
            // Something to look at, so that pictures are taken all the time.
            client.fill(behind, {300, 0, 20, 20}, static_cast<std::uint32_t>(round * 0x030303));
            client.sync();
            std::this_thread::sleep_for(std::chrono::milliseconds(round % 7));
            client.move(hidden, (round * 17) % 200, (round * 29) % 150);
            client.resize(hidden, 40 + round, 90 - round);
            client.fill(behind, {300, 0, 20, 20}, static_cast<std::uint32_t>(round * 0x020202));
            client.sync();
            std::this_thread::sleep_for(std::chrono::milliseconds(round % 5));
            if (round % 3 == 0)
                client.raise(behind);
            client.destroy(hidden);
            client.sync();
            if (round % 10 == 9) {
                EXPECT_TRUE(eventually([&] { return recorder->count() > round / 10u; }));
            }
        }
        client.fill(behind, whole, red);
        client.sync();
        expected.fill(whole, red);
        EXPECT_TRUE(isShown());
    }

    XServer server;
    XClient client;
    std::optional<Process> compositor;
    xcb_window_t behind = XCB_NONE;
    Screenshot expected{320, 240};
    std::optional<Recorder> recorder;
};

/// The same behind a compositing manager: one that is slow to repaint, and one that lets windows
/// fade.
class CompositedTest : public ExcludedWindowsTest, public testing::WithParamInterface<Command> {
protected:
    CompositedTest() : ExcludedWindowsTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(, CompositedTest,
                         testing::Values(Command{"xcompmgr", "-n"},
                                         Command{"picom", "--config", "/dev/null", "--backend",
                                                 "xrender", "--fading"}),
                         [](const auto& each) { return each.param.front(); });

} // namespace

TEST_P(CompositedTest, ShowsWhatIsBehindExcludedWindowsLive) {
    const auto hidden = excludedWindow({100, 80, 60, 50});
    client.map(hidden);
    client.sync();
    film();
    ASSERT_TRUE(isShown());
    // Window managers resize windows that nobody sees, and so nobody paints.
    client.resize(client.createWindow({0, 0, 10, 10}), 300, 200);

    const auto paint = [&](Box box, std::uint32_t colour) {
        client.fill(behind, box, colour);
        client.sync();
        expected.fill(box, colour);
        EXPECT_TRUE(isShown());
    };
    paint({110, 90, 20, 20}, blue); // all of it covered
    paint({90, 70, 40, 30}, red);   // part of it
    paint({10, 10, 20, 20}, blue);

    // What the hidden window shows is nobody's business, and no reason for a picture.
    const auto count = recorder->count();
    client.fill(hidden, {0, 0, 60, 50}, secret - 1);
    client.sync();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(recorder->count(), count);

    client.move(hidden, 20, 10);
    EXPECT_TRUE(isShown());
    paint({30, 20, 20, 20}, red);
    paint({110, 90, 20, 20}, green);

    client.unmap(hidden);
    client.sync();
    paint({40, 40, 100, 100}, blue);
}

TEST_F(ExcludedWindowsTest, AreNotSeenHoweverTheyComeAndGo) {
    comeAndGo();
}

TEST_P(CompositedTest, ShowsNoExcludedWindowHoweverItComesAndGoes) {
    comeAndGo();
}

TEST_F(ExcludedWindowsTest, AreFoundInAFrameAndByAnyOfTheirNames) {
    film();
    // A window manager may show a frame before it takes the client over.
    const auto late = client.showWindow({150, 20, 60, 60}, {.colour = blue});
    expected.fill({150, 20, 60, 60}, blue);
    ASSERT_TRUE(isShown());
    client.reparent(excludedWindow({150, 20, 30, 30}), late, 0, 0);
    const auto frame = client.createWindow({20, 20, 100, 80}, {.colour = secret});
    const auto framed = excludedWindow({4, 16, 92, 60}, frame);
    client.map(framed);
    client.map(frame);

    client.showWindow(
        {200, 100, 50, 100},
        {.colour = secret, .instance = "com.example.Hidden", .overrideRedirect = true});
    const auto toolkit = client.createWindow({20, 120, 90, 90}, {.colour = secret});
    constexpr std::string_view id = "another.one";
    xcb_change_property(client.connection(), XCB_PROP_MODE_REPLACE, toolkit,
                        client.atom("_GTK_APPLICATION_ID"), client.atom("UTF8_STRING"), 8,
                        id.size(), id.data());
    client.map(toolkit);
    client.showWindow({130, 130, 40, 40}, {.colour = blue, .applicationClass = "com.example.Hid"});
    client.sync();
    for (const Box box :
         {Box{20, 20, 100, 80}, {150, 20, 60, 60}, {200, 100, 50, 100}, {20, 120, 90, 90}})
        expected.fill(box, cover);
    expected.fill({130, 130, 40, 40}, blue);
    EXPECT_TRUE(isShown());
}

TEST_P(CompositedTest, LeavesTheOtherWindowsInTheirOrder) {
    const auto below = client.showWindow({30, 30, 100, 100}, {.colour = blue});
    client.map(excludedWindow({50, 50, 200, 150}));
    client.sync();
    film();
    expected.fill({30, 30, 100, 100}, blue);
    ASSERT_TRUE(isShown());

    const auto above = client.showWindow({100, 100, 100, 60}, {.colour = red});
    expected.fill({100, 100, 100, 60}, red);
    EXPECT_TRUE(isShownOncePainted(above, {0, 0, 100, 60}, red));

    client.raise(below);
    client.resize(below, 140, 120);
    expected.fill({30, 30, 140, 120}, blue);
    EXPECT_TRUE(isShownOncePainted(below, {0, 0, 140, 120}, blue));
}

TEST_P(CompositedTest, ShowsNoWindowThatHoldsACopyOfAnExcludedOneUntilItIsPainted) {
    client.map(excludedWindow({80, 80, 60, 60}));
    client.sync();
    film();
    ASSERT_TRUE(isShown());
    // The server fills such a window with what the screen shows there, also where it grows.
    const auto slow = client.showWindow({80, 80, 30, 30}, {.withoutBackground = true});
    expected.fill({80, 80, 30, 30}, cover);
    EXPECT_TRUE(isShown());
    client.fill(slow, {0, 0, 30, 30}, blue);
    client.resize(slow, 50, 50);
    expected.fill({80, 80, 50, 50}, cover);
    EXPECT_TRUE(isShown());
    client.fill(slow, {0, 0, 50, 50}, blue);
    expected.fill({80, 80, 50, 50}, blue);
    EXPECT_TRUE(isShown());
}

TEST_P(CompositedTest, ShowsTheWallpaperWhereThereIsNoOtherWindow) {
    client.unmap(behind);
    const auto wallpaper = xcb_generate_id(client.connection());
    xcb_create_pixmap(client.connection(), 24, wallpaper, client.root(), 320, 240);
    client.fill(wallpaper, whole, blue);
    client.fill(wallpaper, {0, 0, 160, 240}, red);
    xcb_change_window_attributes(client.connection(), client.root(), XCB_CW_BACK_PIXMAP,
                                 &wallpaper);
    xcb_clear_area(client.connection(), 0, client.root(), 0, 0, 320, 240);
    xcb_change_property(client.connection(), XCB_PROP_MODE_REPLACE, client.root(),
                        client.atom("_XROOTPMAP_ID"), XCB_ATOM_PIXMAP, 32, 1, &wallpaper);
    client.map(excludedWindow({100, 50, 120, 100}));
    client.sync();
    expected.fill(whole, blue);
    expected.fill({0, 0, 160, 240}, red);
    film();
    EXPECT_TRUE(isShown());
}

TEST_P(CompositedTest, PaysNothingOnceExcludedWindowsAreGone) {
    film();
    const auto hidden = excludedWindow({100, 80, 60, 50});
    client.map(hidden);
    ASSERT_TRUE(isShown());
    client.unmap(hidden);
    client.sync();
    EXPECT_TRUE(recorder->fallsAsleep());
    EXPECT_TRUE(isShown());
}

TEST_F(ExcludedWindowsTest, AreCoveredUntilSomethingIsDrawnWhereTheyWere) {
    const auto hidden = excludedWindow({100, 80, 60, 50});
    const auto lazy = client.showWindow({90, 70, 30, 30}, {.withoutBackground = true});
    client.fill(lazy, {0, 0, 30, 30}, blue);
    client.map(hidden);
    client.sync();
    film();
    expected.fill({90, 70, 30, 30}, blue);
    expected.fill({100, 80, 60, 50}, cover);
    ASSERT_TRUE(isShown());
    client.unmap(hidden); // The server paints the green window, not the one without a background.
    expected.fill({100, 80, 60, 50}, green);
    expected.fill({100, 80, 20, 20}, cover);
    EXPECT_TRUE(isShown());
    client.fill(lazy, {0, 0, 30, 30}, blue);
    expected.fill({90, 70, 30, 30}, blue);
    EXPECT_TRUE(isShown());
}
