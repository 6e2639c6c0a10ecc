#include "platform/Screens.h"
#include "support/Program.h"
#include "support/Sway.h"
#include "support/XServer.h"
#include "system/Recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <list>

using namespace test;

namespace {

constexpr std::uint32_t red = 0xC02010;
constexpr std::uint32_t white = 0xFFFFFF;
constexpr std::uint32_t covering = 0x303438;
constexpr std::uint32_t forbidden = 0xFF00FF;
const std::string companion = "brell.companion";

std::string hex(std::uint32_t colour) {
    std::array<char, 7> text{};
    std::snprintf(text.data(), text.size(), "%06X", colour);
    return text.data();
}

constexpr Box screen{0, 0, 320, 240};

/// A compositor with a white screen, and programs whose windows are of one colour. Titles are of
/// the forbidden one.
class WaylandScreenTest : public testing::Test {
protected:
    explicit WaylandScreenTest(const std::string& configuration = "")
        : sway("client.unfocused #FF00FF #FF00FF #FF00FF\n" + configuration) {
        expected.fill(screen, white);
    }

    /// Opens a window and returns when it is where it belongs, in points.
    void open(const std::string& application, std::uint32_t colour, Box box) {
        windows.emplace_back(std::vector<std::string>{
            "foot", "-d", "none", "-a", application, "-o", "colors.background=" + hex(colour), "-o",
            "csd.preferred=none", "-o", "pad=0x0", "-w",
            std::to_string(box.width) + "x" + std::to_string(box.height), "sh", "-c",
            "printf '\\033[?25l'; exec sleep 1000"});
        move(application, box.x, box.y);
    }
    void move(const std::string& application, int x, int y) const {
        sway.command("[app_id=\"" + application + "\"] move absolute position " +
                     std::to_string(x) + " " + std::to_string(y));
    }
    void close() { windows.pop_back(); }

    Sway sway;
    Screenshot expected{screen.width, screen.height};
    std::list<Process> windows;
};

} // namespace

TEST_F(WaylandScreenTest, ShowsTheScreenAndEveryChangeAndSleepsInBetween) {
    Recorder recorder;
    ASSERT_TRUE(recorder.shows(expected));
    EXPECT_TRUE(recorder.fallsAsleep());
    open("red", red, {50, 60, 90, 80});
    expected.fill({50, 60, 90, 80}, red);
    EXPECT_TRUE(recorder.shows(expected));
    EXPECT_TRUE(recorder.fallsAsleep());
    close();
    expected.fill(screen, white);
    EXPECT_TRUE(recorder.shows(expected));
    // The compositor reports more than what has changed.
    const auto frame = recorder.latest();
    EXPECT_EQ(std::ranges::count(frame->changes.changedBlocks, 1), 6 * 6);
}

TEST_F(WaylandScreenTest, ShowsNoExcludedWindowHoweverItComesAndGoesAndWhatIsBesideIt) {
    Recorder recorder({.excludedApplications = {companion}, .forbidden = forbidden});
    ASSERT_TRUE(recorder.shows(expected));
    open(companion, forbidden, {20, 20, 100, 80});
    open("red", red, {200, 100, 80, 80});
    move(companion, 60, 90);
    expected.fill({59, 89, 102, 82}, covering);
    expected.fill({200, 100, 80, 80}, red);
    EXPECT_TRUE(recorder.shows(expected));
    EXPECT_TRUE(recorder.fallsAsleep());
    for (int step = 0; step < 40; ++step)
        move(companion, 3 * step, 2 * step);
    sway.command("workspace other");
    sway.command("workspace back_and_forth");
    sway.command("[app_id=red] kill");
    sway.command("[app_id=" + companion + "] kill");
    expected.fill(screen, white);
    EXPECT_TRUE(recorder.shows(expected));
    EXPECT_EQ(recorder.violations(), 0);
}

TEST_F(WaylandScreenTest, ShowsNothingBesideAnExcludedWindowOfUnknownPlace) {
    const std::string display = std::getenv("WAYLAND_DISPLAY");
    const Sway other; // Its socket stays in SWAYSOCK, as if this one were the guest of the other.
    setenv("WAYLAND_DISPLAY", display.c_str(), 1);
    Recorder recorder({.excludedApplications = {companion}, .forbidden = forbidden});
    ASSERT_TRUE(recorder.shows(expected));
    open(companion, forbidden, {20, 20, 100, 80});
    expected.fill(screen, covering);
    EXPECT_TRUE(recorder.fallsAsleep());
    EXPECT_TRUE(recorder.shows(expected));
    close();
    expected.fill(screen, white);
    EXPECT_TRUE(recorder.shows(expected));
    EXPECT_EQ(recorder.violations(), 0);
}

TEST_F(WaylandScreenTest, ShowsNoMenuOfAnExcludedWindow) {
    TemporaryDirectory settings;
    std::filesystem::create_directory(settings.path / "gtk-3.0");
    std::ofstream(settings.path / "gtk-3.0" / "gtk.css")
        << "menu, menu * { all: unset; background: #" << hex(forbidden) << "; }";
    Recorder recorder({.excludedApplications = {companion}, .forbidden = forbidden});
    const Recorder witness({.forbidden = forbidden});
    windows.emplace_back(std::vector<std::string>{"zenity", "--entry", "--name=" + companion},
                         std::vector<Variable>{{"XDG_CONFIG_HOME", settings.path}});
    Program phone("", {}, {});
    phone.send({{"t", "first"}, {"on", true}});
    phone.send({{"t", "move"}, {"x", 0.5}, {"y", 0.5}});
    EXPECT_TRUE(eventually([&] {
        phone.send({{"t", "click"}, {"b", "right"}});
        return eventually([&] { return witness.violations() > 0; }, 500ms);
    })) << "there is no menu";
    EXPECT_TRUE(recorder.fallsAsleep());
    EXPECT_EQ(recorder.violations(), 0);
}

TEST_F(WaylandScreenTest, ShowsNoTitleOfAnExcludedWindowBehindAnother) {
    open(companion, forbidden, {0, 0, 80, 80});
    sway.command("[app_id=" + companion + "] floating disable, layout tabbed");
    open("red", red, {0, 0, 80, 80});
    sway.command("[app_id=red] floating disable");
    Recorder recorder({.excludedApplications = {companion}, .forbidden = forbidden});
    const Recorder witness({.forbidden = forbidden});
    EXPECT_TRUE(eventually([&] { return witness.violations() > 0; })) << "there is no title";
    EXPECT_TRUE(recorder.fallsAsleep());
    windows.clear();
    EXPECT_TRUE(recorder.shows(expected));
    EXPECT_EQ(recorder.violations(), 0);
}

/// Turned and mirrored in each of the eight ways, and with two pixels a point.
class WaylandOutputTest : public WaylandScreenTest,
                          public testing::WithParamInterface<const char*> {
protected:
    WaylandOutputTest()
        : WaylandScreenTest(std::string("output HEADLESS-1 scale 2 transform ") + GetParam()) {}
};

TEST_P(WaylandOutputTest, ShowsOutputsUprightAndAtTheirPixels) {
    const auto display = platform::activeDisplayList().at(0);
    const bool onItsSide =
        std::string(GetParam()).ends_with("90") || std::string(GetParam()).ends_with("270");
    Screenshot upright(onItsSide ? 240 : 320, onItsSide ? 320 : 240);
    EXPECT_EQ(display.bounds, (platform::Rect{0, 0, upright.width / 2.0, upright.height / 2.0}));
    EXPECT_EQ(platform::displayPixelWidth(display.id), upright.width);
    Recorder recorder({.width = upright.width, .height = upright.height});
    open("red", red, {0, 0, 100, 51});
    upright.fill({0, 0, 1000, 1000}, white);
    upright.fill({0, 0, 200, 102}, red);
    EXPECT_TRUE(recorder.shows(upright));
    move("red", 10, 20);
    upright.fill({0, 0, 1000, 1000}, white);
    upright.fill({20, 40, 200, 102}, red);
    EXPECT_TRUE(recorder.shows(upright));
}
INSTANTIATE_TEST_SUITE_P(All, WaylandOutputTest,
                         testing::Values("normal", "90", "180", "270", "flipped", "flipped-90",
                                         "flipped-180", "flipped-270"));

TEST_F(WaylandScreenTest, EndsOnceItsOutputIsGone) {
    const Sway guest("", std::getenv("WAYLAND_DISPLAY"));
    const Recorder recorder;
    ASSERT_TRUE(eventually([&] { return recorder.count() > 0; }));
    sway.command("[app_id=wlroots] kill");
    EXPECT_TRUE(eventually([&] { return recorder.stops() == 1; }));
}

TEST_F(WaylandScreenTest, EndsWithOneSentenceWhenTheCompositorDies) {
    Program program("", {}, {{"fps", 30}});
    ASSERT_TRUE(program.nextVideo());
    sway.kill();
    EXPECT_EQ(program.error(), "capture: The Mac stopped sharing its screen.");
}

/// With X clients.
class WaylandGuestTest : public WaylandScreenTest {
protected:
    WaylandGuestTest() : WaylandScreenTest("xwayland force") {}
};

TEST_F(WaylandGuestTest, IsAWaylandDesktopAndShowsNoExcludedWindow) {
    const auto nameOfDisplay = [](const std::string& display) {
        Program info(Program::Words{"info"}, display);
        return nlohmann::json::parse(info.restText())["displays"][0]["name"];
    };
    EXPECT_EQ(nameOfDisplay(XServer().display()), "screen");
    EXPECT_EQ(nameOfDisplay(std::getenv("DISPLAY")), "HEADLESS-1");
    Recorder recorder({.excludedApplications = {companion}, .forbidden = forbidden});
    ASSERT_TRUE(recorder.shows(expected));
    windows.emplace_back(std::vector<std::string>{"xterm", "-name", companion, "-bg", "#FF00FF",
                                                  "-fg", "#FF00FF", "-e", "sleep 1000"});
    sway.command("[instance=" + companion + "] floating enable, resize set 90 80");
    open("red", red, {0, 0, 80, 80}); // takes the focus
    expected.fill(screen, covering);
    EXPECT_TRUE(recorder.shows(expected));
    EXPECT_TRUE(recorder.fallsAsleep());
    EXPECT_TRUE(recorder.shows(expected)) << "an X client's menus don't need the focus";
    windows.clear();
    expected.fill(screen, white);
    EXPECT_TRUE(recorder.shows(expected));
    EXPECT_EQ(recorder.violations(), 0);
}
