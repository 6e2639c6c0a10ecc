#include "app/host/Displays.h"
#include "app/CommandLine.h"
#include "local/DisplayChoice.h"
#include "local/VideoSize.h"
#include "platform/FakeDesktop.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using namespace orvel;

namespace {

std::vector<Display> threeDisplays() {
    return {{2, "left", {0, 0, 10, 10}, false},
            {3, "middle", {10, 0, 10, 10}, true},
            {5, "right", {20, 0, 10, 10}, false}};
}

platform::DisplayID choice(const std::optional<std::string>& argument) {
    const auto displays = threeDisplays();
    return chosenDisplay(displays, argument)->id;
}

std::optional<std::string> displayArgumentOf(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (auto& word : words)
        arguments.push_back(word.data());
    return displayArgument(arguments);
}

} // namespace

TEST(Displays, KeepTheDesktopsOrderAndTheLastNameGiven) {
    test::fakeDesktop() = {.displays = {{3, {0, 0, 1440.75, 982}}, {7, {1440, 0, 800, 600}}},
                           .screens = {{7, "old"}, {std::nullopt, "nobody"}, {7, "Studio"}},
                           .mainID = 7};
    const auto displays = activeDisplays();
    ASSERT_EQ(displays.size(), 2u);
    EXPECT_EQ(displays[0].json(),
              (nlohmann::json{
                  {"id", "3"}, {"name", "Display 3"}, {"w", 1440}, {"h", 982}, {"main", false}}));
    EXPECT_EQ(displays[1].name, "Studio");
    EXPECT_TRUE(displays[1].main);
    EXPECT_EQ(displaysJSON({}).dump(), "[]");
}

TEST(DisplayChoice, TheWantedElseTheMainElseTheFirst) {
    EXPECT_EQ(choice("5"), 5u);
    EXPECT_EQ(choice("+5"), 5u);
    for (const auto& other : {"4", "abc", "5x", " 5", "-5", "4294967301", ""})
        EXPECT_EQ(choice(other), 3u) << other;
    EXPECT_EQ(choice(std::nullopt), 3u);
    auto noneMain = threeDisplays();
    noneMain[1].main = false;
    EXPECT_EQ(chosenDisplay(noneMain, "abc")->id, 2u);
    EXPECT_EQ(chosenDisplay({}, "5"), nullptr);
}

TEST(DisplayChoice, TheArgumentStandsBehindTheFirstOption) {
    EXPECT_EQ(displayArgumentOf({"stream", "--display", "2", "--display", "5"}), "2");
    EXPECT_EQ(displayArgumentOf({"stream", "other", "--display", "abc"}), "abc");
    EXPECT_EQ(displayArgumentOf({"stream", "--display"}), std::nullopt);
    EXPECT_EQ(displayArgumentOf({"stream"}), std::nullopt);
}

TEST(VideoSize, KeepsTheShapeAndIsEvenAndNeverWiderThanTheDisplay) {
    const auto size = [](double w, double h, std::int64_t pixels, int maxw) {
        return videoSize({0, 0, w, h}, pixels, maxw);
    };
    EXPECT_EQ(size(1512, 982, 3024, 1920), (VideoSize{1920, 1246}));
    EXPECT_EQ(size(1512, 982, 3024, 7680), (VideoSize{3024, 1964}));
    EXPECT_EQ(size(1512, 982, 3024, 320), (VideoSize{320, 206}));
    EXPECT_EQ(size(1920, 1080, 1920, 1920), (VideoSize{1920, 1080}));
    EXPECT_EQ(size(2560, 1440, 2560, 1280), (VideoSize{1280, 720}));
    EXPECT_EQ(size(1365, 767, 1365, 1920), (VideoSize{1364, 766}));
    EXPECT_EQ(size(0, 0, 0, 1920), (VideoSize{0, 0}));
}
