#include "input/Input.h"

#include "input/LocalUse.h"
#include "platform/FakeEvents.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <utility>

using namespace orvel;

namespace {

std::string at(platform::Point place) {
    std::ostringstream text;
    text << ' ' << place.x << ',' << place.y;
    return text.str();
}

std::string marked(const char* mark, std::optional<std::int64_t> value) {
    return value ? mark + std::to_string(*value) : "";
}

/// Type and button of the mouse, the place, and which of several clicks it is.
std::string described(const platform::MouseEvent& event) {
    return std::to_string(static_cast<int>(event.type)) + " " +
           std::to_string(static_cast<int>(event.button)) + at(event.location) +
           marked(" n", event.clickState);
}

std::string described(const platform::ScrollWheelEvent& event) {
    return "wheel " + std::to_string(event.wheel1) + " " + std::to_string(event.wheel2) +
           at(event.location) + marked(" c", event.continuous) + marked(" ph", event.scrollPhase) +
           marked(" mo", event.momentumPhase);
}

/// Number of the key and its modifiers in hexadecimal, or the length of a text and its modifiers.
std::string described(const platform::KeyboardEvent& event) {
    std::ostringstream text;
    if (event.unicodeString.empty())
        text << "key " << event.virtualKey;
    else
        text << "text " << event.unicodeString.size();
    text << " " << std::hex << event.flags << (event.keyDown ? " down" : " up");
    return text.str();
}

std::string pressed(const std::string& what) {
    return what + " down; " + what + " up";
}

/// What the message has posted, in one line.
std::string posted(Input& input, const nlohmann::json& message) {
    input.handle(message);
    std::string all;
    for (const auto& event : std::exchange(test::fakeEvents().posted, {}))
        all += (all.empty() ? "" : "; ") +
               std::visit([](const auto& each) { return described(each); }, event);
    return all;
}

std::string repeated(std::string_view text, int times) {
    std::string result;
    for (int time = 0; time < times; ++time)
        result += text;
    return result;
}

} // namespace

TEST(Input, PointerMessagesBecomeEventsOfTheHeldButtonAtTheirPlace) {
    Input input({1, "right", {1920, 100, 1280, 720}, false});
    for (const auto& [message, events] : std::vector<std::pair<const char*, const char*>>{
             {R"({"t":"down"})", "1 0 2560,460 n1"},
             {R"({"t":"up"})", "2 0 2560,460 n1"},
             {R"({"t":"move"})", "5 0 2559.5,459.5"},
             {R"({"t":"move","x":1,"y":1})", "5 0 3199,819"},
             {R"({"t":"move","x":2,"y":"1"})", "5 0 4478,459.5"},
             {R"({"t":"move","x":0,"y":0})", "5 0 1920,100"},
             {R"({"x":0.3})", ""},
             {R"({"t":"down","b":"right"})", "3 1 1920,100 n1"},
             {R"({"t":"move"})", "7 1 2559.5,459.5"},
             {R"({"t":"down","b":"middle"})", "25 2 2559.5,459.5 n1"},
             {R"({"t":"move","x":0,"y":0})", "7 1 1920,100"},
             {R"({"t":"down"})", "1 0 1920,100 n1"},
             {R"({"t":"move","x":0,"y":0})", "6 0 1920,100"},
             {R"({"t":"up"})", "2 0 1920,100 n1"},
             {R"({"t":"up","b":"right"})", "4 1 1920,100 n1"},
             {R"({"t":"move","x":0,"y":0})", "27 2 1920,100"},
             {R"({"t":"up","b":"middle"})", "26 2 1920,100 n1"},
             {R"({"t":"down","b":"back"})", "1 0 1920,100 n1"},
             {R"({"t":"move","x":0,"y":0})", "5 0 1920,100"},
             {R"({"t":"click"})", "1 0 1920,100 n1; 2 0 1920,100 n1"},
             {R"({"t":"click","n":-5})", "1 0 1920,100 n1; 2 0 1920,100 n1"},
             {R"({"t":"click","n":7})", "1 0 1920,100 n3; 2 0 1920,100 n3"},
             {R"({"t":"click","n":2.5})", "1 0 1920,100 n1; 2 0 1920,100 n1"},
             {R"({"t":"scroll","dx":-0.5,"dy":2.5,"ph":"began","mo":"continue"})",
              "wheel -3 1 1920,100 c1 ph1 mo2"},
             {R"({"t":"scroll","dx":1e30,"dy":-1e30,"ph":"Began","mo":3})",
              "wheel 2147483647 -2147483648 1920,100 c1"},
         })
        EXPECT_EQ(posted(input, nlohmann::json::parse(message)), events) << message;
}

TEST(Input, KeyMessagesBecomeKeysThatHaveAPlaceAndElsePiecesOfText) {
    Input input({1, "screen", {0, 0, 10, 10}, true});
    using Mods = std::vector<std::string>;
    for (const auto& [key, mods, event] : std::vector<std::tuple<std::string, Mods, const char*>>{
             {"return", {}, "key 36 0"},
             {"`", {}, "key 50 0"},
             {"a", {"ctrl", "shift", "hyper", "ctrl"}, "key 0 60000"},
             {"A", {"cmd"}, "key 0 120000"},
             {"tab", {"option", "fn"}, "key 48 880000"},
             {"!", {}, "text 1 0"},
             {"Return", {}, "text 6 0"},
             {"ab", {"cmd"}, "text 2 100000"},
         })
        EXPECT_EQ(posted(input, {{"t", "press"}, {"k", key}, {"mods", mods}}), pressed(event));
    EXPECT_EQ(posted(input, {{"t", "press"}, {"k", "x"}, {"mods", "cmd"}}), pressed("key 7 0"));
    EXPECT_EQ(posted(input, {{"t", "press"}, {"k", ""}}), "");
    EXPECT_EQ(posted(input, {{"t", "text"}}), "");

    const std::string man = "\U0001F468\u200D"; // of three units
    for (const auto& [text, first, second] : std::vector<std::tuple<std::string, int, int>>{
             {repeated("x", 17), 16, 1},
             {repeated("\U0001F600", 9), 16, 2},
             {repeated("x", 10) + repeated(man, 3) + "\U0001F466", 10, 11},
             {repeated("x", 10) + "a" + repeated("\u0301", 19), 16, 14},
             {repeated(man, 6) + "\U0001F466", 15, 5},
         })
        EXPECT_EQ(posted(input, {{"t", "text"}, {"s", text}}),
                  pressed("text " + std::to_string(first) + " 0") + "; " +
                      pressed("text " + std::to_string(second) + " 0"));

    test::fakeEvents().available = false;
    Input blind({1, "screen", {0, 0, 10, 10}, true});
    EXPECT_EQ(posted(blind, {{"t", "click"}}), "");
    test::fakeEvents() = {};
}

TEST(LocalUse, TellsPeopleFromEchoes) {
    EXPECT_TRUE(LocalUse::ignoresPhone(1.999, 10, false));
    EXPECT_FALSE(LocalUse::ignoresPhone(2.0, 10, false));
    EXPECT_FALSE(LocalUse::ignoresPhone(0.25, 0.3125, false));
    EXPECT_TRUE(LocalUse::ignoresPhone(0.25, 0.375, false));
}
