#include "platform/decisions/KeyPlanner.h"

#include "platform/decisions/InputQueue.h"
#include "support/SlowClient.h"

#include <gtest/gtest.h>

#include <algorithm>

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

struct Result {
    std::vector<Keysym> read;
    MediaTime end;
};

/// Types the text as fast as the planner lets it.
Result type(KeyPlanner& planner, std::span<const Keysym> text, std::chrono::milliseconds perKey) {
    test::SlowClient client(perKey);
    auto now = start;
    while (!text.empty()) {
        const auto batch = planner.next(text, latin, now);
        now = std::max(now, batch.notBefore);
        for (const auto& binding : batch.bindings)
            client.bind(binding, now);
        for (const auto& stroke : batch.strokes)
            client.press(stroke.value(), now);
        planner.pressed(batch, now);
        EXPECT_FALSE(batch.strokes.empty()) << "the planner makes no headway";
        text = text.subspan(std::max<std::size_t>(batch.strokes.size(), 1));
    }
    const auto end = now;
    // As after the program's end: nothing is bound any more.
    now = std::max(now, planner.releasable());
    client.unbindAll(now);
    client.work(now + 1h);
    return {client.read, end};
}

KeyPlanner plannerWith(int spares) {
    std::vector<KeyPlanner::Spare> keys;
    for (int spare = 0; spare < spares; ++spare)
        keys.push_back({static_cast<Keycode>(200 + spare), {}});
    KeyPlanner planner;
    planner.setSpares(keys);
    return planner;
}

/// Ideographs that do not repeat, with a letter after each `letters`.
std::vector<Keysym> mixed(int count, int letters) {
    std::vector<Keysym> text;
    text.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index)
        text.push_back(letters > 0 && index % letters == 0
                           ? 'a' + static_cast<Keysym>(index) % 26
                           : 0x01004e00 + static_cast<Keysym>(index));
    return text;
}

} // namespace

TEST(KeyPlanner, NoCharacterIsEverMistakenByASlowClient) {
    for (const auto perKey : {0ms, 8ms, 20ms})
        for (const int spares : {1, 3, 10})
            for (const int letters : {0, 2, 7}) {
                auto planner = plannerWith(spares);
                const auto text = mixed(500, letters);
                EXPECT_EQ(type(planner, text, perKey).read, text)
                    << perKey.count() << " ms, " << spares << " spares, " << letters;
            }
}

TEST(KeyPlanner, WhatTheKeyboardHasOrIsBoundAlreadyNeedsNoWaiting) {
    auto planner = plannerWith(3);
    std::vector<Keysym> text;
    for (int round = 0; round < 300; ++round)
        for (const Keysym symbol : {Keysym{'x'}, Keysym{0xe9}, Keysym{0xe8}, Keysym{0xe7}})
            text.push_back(symbol);
    const auto result = type(planner, text, 0ms);
    EXPECT_EQ(result.read, text);
    EXPECT_EQ(result.end, start);
}

TEST(KeyPlanner, WhatNeedsNoWaitingGoesOutFirst) {
    auto planner = plannerWith(1);
    const std::vector<Keysym> first{0xe9};
    planner.pressed(planner.next(first, latin, start), start);
    const std::vector<Keysym> text{'a', 'b', 0xe8, 'c'};
    const auto batch = planner.next(text, latin, start);
    EXPECT_EQ(batch.notBefore, start);
    EXPECT_EQ(batch.strokes.size(), 2u);
    const auto rest = planner.next(std::span(text).subspan(2), latin, start);
    EXPECT_EQ(rest.notBefore, start + KeyPlanner::hold);
    EXPECT_EQ(rest.strokes.size(), 2u);
}

TEST(KeyPlanner, TheServerSaysWhatIsBound) {
    auto planner = plannerWith(2);
    const std::vector<Keysym> text{0xe8, 0xe9};
    planner.pressed(planner.next(text, latin, start), start);
    planner.setSpares({{201, 0xe8}});
    const auto batch = planner.next(text, latin, start);
    ASSERT_EQ(batch.strokes.size(), 1u) << "the other key is not there any more";
    EXPECT_EQ(batch.strokes[0]->keycode, 201);
    EXPECT_TRUE(batch.bindings.empty());
}

TEST(KeyPlanner, WithoutSpareKeysWhatIsMissingIsLeftOut) {
    const std::vector<Keysym> text{'a', 0xe9, 'b'};
    const auto batch = KeyPlanner().next(text, latin, start);
    ASSERT_EQ(batch.strokes.size(), 3u);
    EXPECT_FALSE(batch.strokes[1]);
    EXPECT_TRUE(batch.bindings.empty());
}

TEST(KeyPlanner, ALongTextKeepsNobodyWaitingForLong) {
    auto planner = plannerWith(1);
    std::vector<Keysym> text(3000, 'a');
    text.insert(text.end(), {0xe8, 0xe9});
    EXPECT_LE(type(planner, text, 1ms).end, start + 6s);
}

TEST(InputQueue, KeepsTheOrderAndPacesKeysForAnInputMethod) {
    InputQueue queue;
    const auto text = [](const char16_t* string, bool down) {
        return KeyboardEvent{0, down, 0, string};
    };
    queue.push(text(u"ab", true));
    queue.push(text(u"ab", false));
    queue.push(text(u"\U0001F600\r\n", true));
    queue.push(MouseEvent{});
    EXPECT_EQ(queue.size(), 2u);
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
}
