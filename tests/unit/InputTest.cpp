#include "input/Input.h"

#include "input/Keys.h"
#include "input/LocalUse.h"
#include "platform/FakeEvents.h"
#include "support/Frames.h"

#include <gtest/gtest.h>

using namespace orvel;
using platform::KeyboardEvent;
using platform::MouseButton;
using platform::MouseEvent;
using platform::MouseEventType;
using platform::ScrollWheelEvent;
using test::fakeEvents;

namespace {

class InputTest : public testing::Test {
protected:
    InputTest() { fakeEvents() = {}; }
    void handle(const char* message) { input.handle(nlohmann::json::parse(message)); }
    MouseEvent mouse(const char* message) {
        handle(message);
        const auto events = fakeEvents().take<MouseEvent>();
        EXPECT_EQ(events.size(), 1u) << message;
        return events.empty() ? MouseEvent{} : events.front();
    }
    std::string lastProblem() {
        const auto frames = output.frames();
        return frames.empty() ? "" : frames.back().json().at("error").get<std::string>();
    }

    test::CapturedOutput output;
    Input input{{1, "right", {1920, 100, 1280, 720}, false}};
};

} // namespace

TEST_F(InputTest, MovesFromTheMiddleToFractionsOfTheDisplay) {
    EXPECT_EQ(mouse(R"({"t":"down"})").location, (platform::Point{2560, 460}));
    mouse(R"({"t":"up"})");
    EXPECT_EQ(mouse(R"({"t":"move"})").location, (platform::Point{2559.5, 459.5}));
    EXPECT_EQ(mouse(R"({"t":"move","x":0,"y":0})").location, (platform::Point{1920, 100}));
    EXPECT_EQ(mouse(R"({"t":"move","x":1,"y":1})").location, (platform::Point{3199, 819}));
    EXPECT_EQ(mouse(R"({"t":"move","x":2,"y":"1"})").location.x, 1920 + 2 * 1279);
    const auto move = mouse(R"({"t":"move"})");
    EXPECT_EQ(move.type, MouseEventType::moved);
    EXPECT_EQ(move.clickState, std::nullopt);
}

TEST_F(InputTest, TheHeldButtonDecidesWhatAMoveIs) {
    const auto down = mouse(R"({"t":"down","b":"right"})");
    EXPECT_EQ(down.type, MouseEventType::rightDown);
    EXPECT_EQ(down.button, MouseButton::right);
    EXPECT_EQ(down.clickState, 1);
    EXPECT_EQ(mouse(R"({"t":"move"})").type, MouseEventType::rightDragged);
    mouse(R"({"t":"down","b":"middle"})");
    EXPECT_EQ(mouse(R"({"t":"move"})").type, MouseEventType::rightDragged);
    mouse(R"({"t":"down"})");
    EXPECT_EQ(mouse(R"({"t":"move"})").type, MouseEventType::leftDragged);
    EXPECT_EQ(mouse(R"({"t":"up"})").type, MouseEventType::leftUp);
    EXPECT_EQ(mouse(R"({"t":"up","b":"right"})").type, MouseEventType::rightUp);
    const auto drag = mouse(R"({"t":"move"})");
    EXPECT_EQ(drag.type, MouseEventType::otherDragged);
    EXPECT_EQ(drag.button, MouseButton::center);
    EXPECT_EQ(mouse(R"({"t":"up","b":"middle"})").type, MouseEventType::otherUp);
    EXPECT_EQ(mouse(R"({"t":"down","b":"back"})").type, MouseEventType::leftDown);
    EXPECT_EQ(mouse(R"({"t":"move"})").type, MouseEventType::moved);
}

TEST_F(InputTest, ClicksPressAndReleaseWithTheirCount) {
    for (const auto& [message, count] :
         std::vector<std::pair<const char*, int>>{{R"({"t":"click"})", 1},
                                                  {R"({"t":"click","n":-5})", 1},
                                                  {R"({"t":"click","n":2})", 2},
                                                  {R"({"t":"click","n":7})", 3},
                                                  {R"({"t":"click","n":2.5})", 1}}) {
        handle(message);
        const auto events = fakeEvents().take<MouseEvent>();
        ASSERT_EQ(events.size(), 2u);
        EXPECT_EQ(events[0].type, MouseEventType::leftDown);
        EXPECT_EQ(events[1].type, MouseEventType::leftUp);
        EXPECT_EQ(events[0].clickState, count) << message;
        EXPECT_EQ(events[1].clickState, count) << message;
    }
}

TEST_F(InputTest, ScrollsAgainstThePixelsAndCarriesThePhases) {
    handle(R"({"t":"move","x":0,"y":0})");
    fakeEvents().posted.clear();
    handle(R"({"t":"scroll","dx":-0.5,"dy":2.5,"ph":"began","mo":"continue"})");
    handle(R"({"t":"scroll","dx":1e30,"dy":-1e30,"ph":"Began","mo":3})");
    const auto events = fakeEvents().take<ScrollWheelEvent>();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].wheel1, -3);
    EXPECT_EQ(events[0].wheel2, 1);
    EXPECT_EQ(events[0].location, (platform::Point{1920, 100}));
    EXPECT_EQ(events[0].continuous, 1);
    EXPECT_EQ(events[0].scrollPhase, 1);
    EXPECT_EQ(events[0].momentumPhase, 2);
    EXPECT_EQ(events[1].wheel1, 2147483647);
    EXPECT_EQ(events[1].wheel2, -2147483648);
    EXPECT_EQ(events[1].scrollPhase, std::nullopt);
    EXPECT_EQ(events[1].momentumPhase, std::nullopt);
}

TEST_F(InputTest, WithoutPermissionIsReportedOnceForGood) {
    test::fakeEvents().permitted = false;
    handle(R"({"x":0.3})");
    EXPECT_EQ(lastProblem(), "");
    for (int message = 0; message < 100; ++message)
        handle(R"({"t":"move"})");
    EXPECT_EQ(lastProblem(), "input_permission");
    test::fakeEvents().permitted = true;
    handle(R"({"t":"move"})");
    test::fakeEvents().permitted = false;
    handle(R"({"t":"move"})");
    EXPECT_EQ(output.frames().size(), 1u);
    EXPECT_EQ(fakeEvents().posted.size(), 1u);
}

TEST_F(InputTest, ItsOwnEventsAreNoPersonButOnlyOncePosted) {
    handle(R"({"t":"move"})");
    fakeEvents().secondsSinceLastInput = 0;
    handle(R"({"t":"text","s":"x"})");
    handle(R"({"t":"click"})");
    EXPECT_EQ(fakeEvents().posted.size(), 5u);

    Input refused{{1, "screen", {0, 0, 10, 10}, true}};
    fakeEvents() = {.accepting = false};
    refused.handle({{"t", "move"}});
    fakeEvents() = {.secondsSinceLastInput = 0};
    refused.handle({{"t", "move"}});
    EXPECT_TRUE(fakeEvents().posted.empty()) << "an event that nobody took was its own";
}

TEST_F(InputTest, WithoutASourceNothingHappens) {
    fakeEvents().available = false;
    Input blind{{1, "screen", {0, 0, 10, 10}, true}};
    blind.handle({{"t", "click"}});
    blind.handle({{"t", "text"}, {"s", "x"}});
    EXPECT_TRUE(fakeEvents().posted.empty());
}

TEST(LocalUse, TellsPeopleFromEchoes) {
    EXPECT_FALSE(LocalUse::ignoresPhone(0.5, 10, true));
    EXPECT_TRUE(LocalUse::ignoresPhone(0.5, 10, false));
    EXPECT_TRUE(LocalUse::ignoresPhone(1.999, 10, false));
    EXPECT_FALSE(LocalUse::ignoresPhone(2.0, 10, false));
    EXPECT_FALSE(LocalUse::ignoresPhone(std::numeric_limits<double>::quiet_NaN(), 10, false));
    EXPECT_FALSE(LocalUse::ignoresPhone(0.25, 0.3125, false));
    EXPECT_TRUE(LocalUse::ignoresPhone(0.25, 0.375, false));
    EXPECT_FALSE(LocalUse::warns(2.0));
    EXPECT_TRUE(LocalUse::warns(2.0001));
}
