#include "support/Program.h"
#include "support/XClient.h"
#include "support/XServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <thread>

using namespace test;

namespace {

class StreamTest : public testing::Test {
protected:
    void window(Box place, std::uint32_t colour) const {
        client.showWindow(place, {.colour = colour, .overrideRedirect = true});
        client.sync();
    }

    XServer server{"640x480x24"};
    XClient client{server.display()};
    const nlohmann::json start{{"fps", 30}};
};

/// The error for a screen that can't be filmed, if what comes before says so too.
std::string denial(const std::string& display) {
    Program info(Program::Words{"info"}, display);
    if (nlohmann::json::parse(info.restText())["screen"] != false)
        return "info allows it";
    Program film(Program::Words{"stream"}, display);
    film.line(R"({"t":"start"})");
    const auto announcement = film.next();
    if (!announcement || announcement->json()["screen"] != false)
        return "the announcement allows it";
    return film.error();
}
constexpr const char* denied =
    "screen_permission: Allow Orvel Companion under Screen Recording in System Settings on this "
    "Mac.";

} // namespace

TEST_F(StreamTest, AnnouncesTheDisplayAndShowsItWithItsPointer) {
    client.setCursor(client.root(), 16, 16, 0, 0);
    client.movePointer(500, 100);
    window({0, 0, 320, 480}, 0xC03020);
    window({320, 0, 320, 480}, 0x2060C0);
    client.showWindow({400, 200, 50, 50}, {.colour = 0, .instance = "brell.companion"});
    client.showWindow({400, 300, 50, 50},
                      {.colour = 0, .instance = "com.quillmarsh.orvel.companion"});
    client.sync();
    Program film(server.display(), {}, start);
    const auto& announcement = film.announcement;
    EXPECT_EQ(announcement["screen"], true);
    EXPECT_EQ(announcement["input"], true);
    ASSERT_EQ(announcement["displays"].size(), 1u);
    EXPECT_EQ(announcement["displays"][0]["id"], announcement["display"]);
    EXPECT_TRUE(film.shows(100, 100, 0xC03020));
    EXPECT_EQ(film.film.front().unitTypes(), (std::vector<int>{7, 8, 5}));
    EXPECT_TRUE(film.shows(600, 400, 0x2060C0));
    EXPECT_TRUE(film.shows(508, 108, 0xFF0000)) << "the pointer";
    for (const int y : {225, 325})
        EXPECT_FALSE(film.pictures().back().shows(425, y, 0)) << "who started the program";
}

TEST_F(StreamTest, SendsEachChangeThriceAndAKeyFrameWhenAskedAndOutlivesItsTerminal) {
    std::signal(SIGHUP, SIG_IGN); // As nohup does.
    Program film(server.display(), {}, start);
    std::signal(SIGHUP, SIG_DFL);
    film.signal(SIGHUP);
    for (int picture = 0; picture < 6; ++picture) {
        if (picture == 3)
            window({100, 100, 200, 200}, 0x30A040);
        ASSERT_TRUE(film.nextVideo());
    }
    EXPECT_TRUE(film.pictures().back().shows(200, 200, 0x30A040));
    for (const auto* line :
         {R"({"t":"rate","kbps":900})", "no message at all", R"(["t","idr"])",
          R"({"t":"start","fps":5})", R"({"t":"rate","kbps":"800"})", R"({"t":"idr"})"})
        film.line(line);
    ASSERT_TRUE(film.nextVideo());
    window({0, 0, 50, 50}, 0xFFFFFF);
    ASSERT_TRUE(film.nextVideo());
    EXPECT_EQ(std::ranges::count_if(film.film, &Video::key), 2);
    EXPECT_TRUE(film.film[6].key);
    EXPECT_GE(film.film[2].microseconds - film.film[0].microseconds, 1'200'000u);
}

TEST_F(StreamTest, FilmsTheMonitorThatIsAskedForElseTheMainOne) {
    for (const Program::Words& monitor :
         {Program::Words{"left", "320/80x480/120+0+0"}, {"*right", "320/80x480/120+320+0"}}) {
        Process xrandr(
            {"xrandr", "-d", server.display(), "--setmonitor", monitor[0], monitor[1], "none"});
        ASSERT_EQ(xrandr.wait(), 0);
    }
    window({0, 0, 320, 480}, 0xC03020);
    window({320, 0, 320, 480}, 0x2060C0);
    Program main(server.display(), {"--display", "4711"}, start);
    EXPECT_TRUE(main.shows(10, 240, 0x2060C0));
    for (const auto& display : main.announcement["displays"]) {
        EXPECT_EQ(display["main"], display["name"] == "right") << display;
        if (display["w"] != 320)
            continue;
        Program film(server.display(), {"--display", display["id"]}, start);
        EXPECT_EQ(film.announcement["display"], display["id"]);
        EXPECT_TRUE(film.shows(10, 240, display["main"] ? 0x2060C0 : 0xC03020));
    }
}

TEST(StreamInAWindow, ShowsADesktopInAWindowOfAWaylandDesktopAndNoWindowsWithoutADesktop) {
    const TemporaryDirectory runtime;
    const std::vector<Variable> host{{"XDG_RUNTIME_DIR", runtime.path},
                                     {"WAYLAND_DISPLAY", "host"}};
    const Process weston({"weston", "--backend=headless-backend.so", "--socket=host", "--no-config",
                          "--log=" + (runtime.path / "log").string()},
                         host);
    ASSERT_TRUE(eventually([&] { return exists(runtime.path / "host"); }));
    Process rootful({"Xwayland", "-displayfd", "1", "-noreset"}, host, true);
    Process rootless({"Xwayland", "-displayfd", "1", "-noreset", "-rootless"}, host, true);
    const auto display = ":" + rootful.firstLine();
    const XClient client(display);
    client.fill(client.root(), {0, 0, 4096, 4096}, 0xC03020);
    client.sync();
    EXPECT_TRUE(Program(display, {}, {{"fps", 30}}).shows(100, 100, 0xC03020));
    EXPECT_EQ(denial(":" + rootless.firstLine()), denied);
}

TEST_F(StreamTest, EndsSilentlyWithItsInputAtAnyStage) {
    for (const auto* first : {"", "nonsense\n", "[]\n", R"({"t":"idr"})", "{}\n"}) {
        Program film(Program::Words{"stream"}, server.display());
        film.write(first);
        film.closeInput();
        EXPECT_EQ(film.restText(), "") << first;
        EXPECT_EQ(film.wait(), 0);
    }
    Program small(server.display(), {}, {{"maxw", 321}});
    EXPECT_EQ(small.announcement["w"], 320);
    EXPECT_EQ(small.announcement["h"], 240);
    EXPECT_TRUE(small.hangUp());
    Program later(server.display(), {}, start);
    ASSERT_TRUE(later.nextVideo());
    xcb_grab_server(client.connection());
    client.sync();
    EXPECT_TRUE(later.hangUp()) << "a server that is stuck";
}

TEST_F(StreamTest, SaysWhyThereIsNoPicture) {
    EXPECT_EQ(denial(XServer("320x240x8", {"-cc", "3"}).display()), denied) << "a palette";
    EXPECT_EQ(Program(Program::Words{"stream"}, ":4711").error(),
              "no_display: This Mac has no display to share.");
    Program film(server.display(), {}, start);
    const std::jthread finger([&](const std::stop_token& lifted) {
        for (double x = 0; !lifted.stop_requested(); x = 0.5 - x)
            film.send({{"t", "move"}, {"x", x}});
    });
    for (int picture = 0; picture < 5; ++picture)
        ASSERT_TRUE(film.nextVideo());
    server.kill();
    EXPECT_EQ(film.error(), "capture: The Mac stopped sharing its screen.");
}
