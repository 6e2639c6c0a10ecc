#include "platform/decisions/KeyPlanner.h"

#include "platform/decisions/InputQueue.h"

#include <gtest/gtest.h>

using namespace platform;
using namespace std::chrono_literals;

namespace {

constexpr MediaTime start{3'600'000'000'000};

/// The keyboard has the letters a to z, on keycodes of their own number.
std::optional<Stroke> latin(Keysym symbol) {
    if (symbol < 'a' || symbol > 'z')
        return std::nullopt;
    return Stroke{static_cast<Keycode>(symbol), 0, 0};
}

} // namespace

/// That a client reads what was typed is what fuzz/KeyPlannerFuzz.cpp looks at.
TEST(KeyPlanner, NothingWaitsWithoutNeedNorForLong) {
    KeyPlanner planner;
    const auto next = [&](const std::vector<Keysym>& text) {
        return planner.next(text, latin, start);
    };
    const auto withoutSpares = next({'a', 0xe9, 'b'});
    EXPECT_EQ(withoutSpares.strokes.size(), 3u);
    EXPECT_FALSE(withoutSpares.strokes[1]) << "what no key can give is left out";

    planner.setSpares({{200, {}}});
    planner.pressed(next({0xe9}), start);
    const auto again = next({0xe9, 'a', 0xe9});
    EXPECT_EQ(again.strokes.size(), 3u) << "what is bound is not bound anew";
    EXPECT_EQ(again.notBefore, start);
    const auto before = next({'a', 'b', 0xe8, 'c'});
    EXPECT_EQ(before.strokes.size(), 2u) << "what needs no waiting goes out first";
    EXPECT_EQ(before.notBefore, start);
    EXPECT_EQ(next({0xe8, 'c'}).notBefore, start + KeyPlanner::hold);

    planner.pressed(next(std::vector<Keysym>(3000, 0xe9)), start);
    EXPECT_EQ(next({0xe8}).notBefore, start + KeyPlanner::maxWait);
}

TEST(InputQueue, KeepsTheOrderAndThePace) {
    InputQueue queue;
    bool arrived = false;
    const auto text = [](const char16_t* string, bool down) {
        return KeyboardEvent{0, down, 0, string};
    };
    queue.push(text(u"ab", true));
    queue.push(text(u"ab", false));
    queue.push(text(u"\U0001F600\r\n", true));
    queue.push(MouseEvent{});
    queue.push(InputQueue::Marker{[&] { arrived = true; }});
    queue.setPace(InputQueue::paceOfInputMethods);
    ASSERT_TRUE(queue.due(start));
    const auto portion = queue.portion();
    EXPECT_EQ(std::vector(portion.begin(), portion.end()),
              (std::vector<Keysym>{'a', 'b', 0x0101f600, XKB_KEY_Return}));
    queue.done(start, queue.maxKeysAtOnce());
    EXPECT_FALSE(queue.due(start));
    EXPECT_EQ(queue.dueAt(), start + InputQueue::paceOfInputMethods.timeForKey);
    EXPECT_EQ(queue.portion().size(), 3u);
    queue.setPace({});
    queue.done(start, 3);
    EXPECT_TRUE(std::holds_alternative<MouseEvent>(*queue.due(start + 1s)));
    queue.done(start);
    std::get<InputQueue::Marker>(*queue.due(start + 1s)).reached();
    EXPECT_TRUE(arrived);
}
