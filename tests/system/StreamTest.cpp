#include "support/Decoder.h"
#include "support/Process.h"
#include "support/XClient.h"
#include "support/XServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <thread>

using namespace test;
using orvel::FrameType;

namespace {

constexpr std::string_view start = R"({"t":"start","fps":30,"kbps":4000})";

/// The frames of one run of `stream`, and what an independent decoder makes of them.
class Film {
public:
    Film(const std::string& display, const std::vector<std::string>& options = {})
        : process(command(options), {{"DISPLAY", display}}) {}

    /// Sends the start message and waits for the announcement.
    void begin(std::string_view message = start) {
        process.line(message);
        const auto frame = process.frame();
        ASSERT_TRUE(frame && frame->type == FrameType::announcement);
        announcement = frame->json();
    }

    std::optional<Video> next(std::chrono::milliseconds limit = patience) {
        const auto frame = process.frame(FrameType::video, limit);
        if (!frame)
            return std::nullopt;
        videos.push_back(video(*frame));
        const auto unit = accessUnit(*frame);
        stream.insert(stream.end(), unit.begin(), unit.end());
        return videos.back();
    }

    /// Waits until nothing more comes, past the last repetition of the last picture.
    void untilStill() {
        while (next(2500ms)) {
        }
    }

    Picture lastPicture() const {
        auto pictures = decode(stream, announcement.at("w"), announcement.at("h"), Decoded::bgra);
        EXPECT_EQ(pictures.size(), videos.size());
        return pictures.back();
    }

    /// Whether the pixel comes to have this colour (0xRRGGBB), within what the coding leaves.
    bool shows(int x, int y, std::uint32_t colour) {
        while (next()) {
            while (next(100ms)) {
            }
            if (lastPicture().shows(x, y, colour))
                return true;
        }
        return false;
    }

    Process process;
    nlohmann::json announcement;
    std::vector<Video> videos;
    std::vector<std::uint8_t> stream;

private:
    static std::vector<std::string> command(const std::vector<std::string>& options) {
        std::vector<std::string> words{ORVEL_SCREEN, "stream"};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }
};

class StreamTest : public testing::Test {
protected:
    void window(Box place, std::uint32_t colour) {
        client.showWindow(place, {.colour = colour, .overrideRedirect = true});
        client.sync();
    }

    XServer server{"640x480x24"};
    XClient client{server.display()};
};

} // namespace

TEST_F(StreamTest, AnnouncesTheDisplayAndBeginsWithAKeyFrameOfIt) {
    window({0, 0, 320, 480}, 0xC03020);
    window({320, 0, 320, 480}, 0x2060C0);
    Film film(server.display());
    film.begin();
    EXPECT_EQ(film.announcement["w"], 640);
    EXPECT_EQ(film.announcement["h"], 480);
    EXPECT_EQ(film.announcement["screen"], true);
    EXPECT_EQ(film.announcement["input"], true);
    ASSERT_EQ(film.announcement["displays"].size(), 1u);
    EXPECT_EQ(film.announcement["displays"][0]["id"], film.announcement["display"]);

    EXPECT_TRUE(film.shows(100, 100, 0xC03020));
    EXPECT_TRUE(film.videos.front().key);
    EXPECT_EQ(film.videos.front().unitTypes(), (std::vector<int>{7, 8, 5}));
    EXPECT_TRUE(film.shows(500, 400, 0x2060C0));
}

TEST_F(StreamTest, FollowsTheScreenAndThenFallsSilent) {
    Film film(server.display());
    film.begin();
    film.untilStill();
    const auto before = film.videos.size();
    EXPECT_EQ(before, 3u) << "the picture and its two repetitions";

    window({100, 100, 200, 200}, 0x30A040);
    EXPECT_TRUE(film.shows(200, 200, 0x30A040));
    film.untilStill();
    EXPECT_EQ(film.videos.size(), before + 3);
    EXPECT_EQ(std::ranges::count_if(film.videos, &Video::key), 1);
    for (std::size_t index = 1; index < film.videos.size(); ++index)
        EXPECT_GT(film.videos[index].microseconds, film.videos[index - 1].microseconds);
}

TEST_F(StreamTest, AKeyFrameComesWhenAskedForAndNotOtherwise) {
    Film film(server.display());
    film.begin();
    film.untilStill();
    film.process.line(R"({"t":"rate","kbps":900})");
    film.process.line("no message at all");
    film.process.line(R"(["t","idr"])");
    film.process.line(R"({"t":"start","fps":5})");
    film.process.line(R"({"t":"rate","kbps":"800"})");
    EXPECT_EQ(film.next(1s), std::nullopt) << "nothing has changed";
    film.process.line(R"({"t":"idr"})");
    const auto key = film.next();
    ASSERT_TRUE(key);
    EXPECT_TRUE(key->key);
    window({0, 0, 50, 50}, 0xFFFFFF);
    const auto after = film.next();
    ASSERT_TRUE(after);
    EXPECT_FALSE(after->key);
}

TEST_F(StreamTest, OddScreensAreScaledToEvenVideos) {
    XServer odd("1365x767x24");
    XClient painter(odd.display());
    painter.showWindow({0, 0, 1365, 767}, {.colour = 0x4080C0});
    painter.sync();
    Film film(odd.display());
    film.begin();
    EXPECT_EQ(film.announcement["w"], 1364);
    EXPECT_EQ(film.announcement["h"], 766);
    EXPECT_TRUE(film.shows(1363, 765, 0x4080C0));

    Film small(odd.display());
    small.begin(R"({"t":"start","maxw":100})");
    EXPECT_EQ(small.announcement["w"], 320);
    EXPECT_EQ(small.announcement["h"], 178);
    EXPECT_TRUE(small.shows(319, 177, 0x4080C0));
}

TEST_F(StreamTest, FilmsTheMonitorThatIsAskedFor) {
    Process xrandr({"xrandr", "-d", server.display(), "--setmonitor", "right",
                    "320/80x480/120+320+0", "none"});
    ASSERT_EQ(xrandr.wait(), 0);
    window({0, 0, 320, 480}, 0xC03020);
    window({320, 0, 320, 480}, 0x2060C0);
    Process info({ORVEL_SCREEN, "info"}, {{"DISPLAY", server.display()}});
    const auto displays = nlohmann::json::parse(info.restText())["displays"];
    const auto right =
        std::ranges::find(displays, "right", [](const auto& display) { return display["name"]; });
    ASSERT_NE(right, displays.end()) << displays;

    Film film(server.display(), {"--display", (*right)["id"]});
    film.begin();
    EXPECT_EQ(film.announcement["display"], (*right)["id"]);
    EXPECT_EQ(film.announcement["w"], 320);
    EXPECT_TRUE(film.shows(10, 240, 0x2060C0));
}

TEST_F(StreamTest, EndsSilentlyWithItsInputAtAnyStage) {
    for (const auto* first : {"", "nonsense\n", "[]\n", R"({"t":"idr"})", "{}\n"}) {
        Film film(server.display());
        film.process.write(first);
        film.process.closeInput();
        EXPECT_EQ(film.process.restText(), "") << first;
        EXPECT_EQ(film.process.wait(), 0);
    }
    Film atOnce(server.display());
    atOnce.begin();
    atOnce.process.closeInput();
    while (const auto frame = atOnce.process.frame())
        EXPECT_EQ(frame->type, FrameType::video);
    EXPECT_EQ(atOnce.process.wait(), 0);

    Film later(server.display());
    later.begin();
    ASSERT_TRUE(later.next());
    window({0, 0, 640, 480}, 0x123456);
    later.process.closeInput();
    while (later.next()) {
    }
    EXPECT_TRUE(later.process.rest().empty()) << "half a frame";
    EXPECT_EQ(later.process.wait(), 0);
    EXPECT_EQ(later.lastPicture().width, 640);
}

TEST_F(StreamTest, SaysSoWhenThereIsNoDisplay) {
    Film film(":4711");
    const auto error = film.process.frame();
    ASSERT_TRUE(error && error->type == FrameType::error);
    EXPECT_EQ(error->json(), (nlohmann::json{{"error", "no_display"},
                                             {"message", "This Mac has no display to share."}}));
    EXPECT_TRUE(film.process.rest().empty());
    EXPECT_EQ(film.process.wait(), 0);
}

TEST_F(StreamTest, SaysSoOnceWhenTheServerDies) {
    Film film(server.display());
    film.begin();
    ASSERT_TRUE(film.next());
    server.kill();
    const auto error = film.process.frame(FrameType::error);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->json(), (nlohmann::json{{"error", "capture"},
                                             {"message", "The Mac stopped sharing its screen."}}));
    EXPECT_TRUE(film.process.rest().empty());
    EXPECT_EQ(film.process.wait(), 0);
}

TEST_F(StreamTest, AGrabbedServerStopsNothingButThePicture) {
    Film film(server.display());
    film.begin();
    ASSERT_TRUE(film.next());
    film.process.line(R"({"t":"first","on":true})");
    film.process.line(R"({"t":"down"})"); // To be let go of at the end.
    xcb_grab_server(client.connection());
    window({0, 0, 640, 480}, 0x305070);
    film.process.line(R"({"t":"move","x":0.5,"y":0.5})");
    EXPECT_FALSE(film.process.frame(FrameType::error, 300ms));
    xcb_ungrab_server(client.connection());
    client.sync();
    EXPECT_TRUE(film.shows(20, 40, 0x305070));

    xcb_grab_server(client.connection());
    client.sync();
    film.process.closeInput();
    while (film.next()) {
    }
    EXPECT_EQ(film.process.wait(5s), 0);
}

TEST_F(StreamTest, AParentThatDoesNotReadGetsEveryFrameLater) {
    Film film(server.display());
    film.begin(R"({"t":"start","fps":60,"kbps":20000})");
    ASSERT_TRUE(film.next());
    std::vector<std::uint32_t> noise(std::size_t{640} * 480);
    std::uint32_t state = 1;
    const auto surface = client.showWindow({0, 0, 640, 480}, {.overrideRedirect = true});
    for (int picture = 0; picture < 60; ++picture) {
        for (auto& pixel : noise)
            pixel = (state = state * 1664525 + 1013904223) >> 8;
        client.putImage(surface, {0, 0, 640, 480}, noise);
        client.sync();
        usleep(16'000);
    }
    client.fill(surface, {0, 0, 640, 480}, 0x808080);
    client.sync();
    EXPECT_TRUE(film.shows(20, 40, 0x808080));
    film.process.closeInput();
    while (film.next()) {
    }
    EXPECT_TRUE(film.process.rest().empty());
    EXPECT_EQ(film.process.wait(), 0);
    EXPECT_GT(film.stream.size(), std::size_t{300'000}) << "more than a pipe holds";
    film.lastPicture();
}
