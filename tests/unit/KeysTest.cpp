#include "input/Keys.h"
#include "input/TextChunks.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

using namespace orvel;
namespace flag = platform::flag;

namespace {

/// Checks that it is one key going down and up, and returns the down event.
platform::KeyboardEvent pressed(const std::vector<platform::KeyboardEvent>& events) {
    EXPECT_EQ(events.size(), 2u);
    EXPECT_TRUE(events.at(0).keyDown);
    EXPECT_FALSE(events.at(1).keyDown);
    EXPECT_EQ(events.at(0).virtualKey, events.at(1).virtualKey);
    EXPECT_EQ(events.at(0).flags, events.at(1).flags);
    EXPECT_EQ(events.at(0).unicodeString, events.at(1).unicodeString);
    return events.at(0);
}

std::vector<std::size_t> lengths(const std::vector<std::u16string>& chunks) {
    std::vector<std::size_t> result;
    result.reserve(chunks.size());
    for (const auto& chunk : chunks)
        result.push_back(chunk.size());
    return result;
}

std::string repeated(std::string_view text, int times) {
    std::string result;
    for (int time = 0; time < times; ++time)
        result += text;
    return result;
}

} // namespace

TEST(Keys, NamedKeysAndPlainCharactersArePressedByPosition) {
    const std::map<std::string, int> codes{
        {"return", 36}, {"enter", 76}, {"delete", 51}, {"forwarddelete", 117},
        {"left", 123},  {"f10", 109},  {"a", 0},       {"1", 18},
        {"-", 27},      {"'", 39},     {"\\", 42},     {"`", 50},
        {"space", 49}};
    for (const auto& [key, code] : codes) {
        const auto event = pressed(Keys::key(key, {}));
        EXPECT_EQ(event.virtualKey, code) << key;
        EXPECT_EQ(event.flags, 0u) << key;
        EXPECT_TRUE(event.unicodeString.empty()) << key;
    }
}

TEST(Keys, ModifiersAddUpAndCapitalsAddShift) {
    EXPECT_EQ(pressed(Keys::key("a", {"ctrl", "shift", "hyper", "ctrl"})).flags, 0x60000u);
    EXPECT_EQ(pressed(Keys::key("A", {"cmd"})).flags, 0x120000u);
    EXPECT_EQ(pressed(Keys::key("A", {"cmd"})).virtualKey, 0);
    EXPECT_EQ(pressed(Keys::key("tab", {"option", "fn"})).flags, 0x880000u);
}

TEST(Keys, WhatHasNoPlaceOnTheKeyboardIsTyped) {
    for (const auto* text : {"!", "\u00e9", "Return", "ab", "F1"}) {
        const auto event = pressed(Keys::key(text, {"cmd"}));
        EXPECT_EQ(event.virtualKey, 0) << text;
        EXPECT_EQ(event.flags, flag::command) << text;
        EXPECT_EQ(event.unicodeString, platform::utf16Units(text));
    }
    EXPECT_TRUE(Keys::key("", {"cmd"}).empty());
}

TEST(TextChunks, EndWhereCharactersEnd) {
    const auto family = "\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466";
    const auto marked = "a" + repeated("\u0301", 19);
    const auto cases = std::vector<std::pair<std::string, std::vector<std::size_t>>>{
        {"", {}},
        {repeated("x", 16), {16}},
        {repeated("x", 17), {16, 1}},
        {repeated("\U0001F600", 9), {16, 2}},
        {repeated("x", 15) + "\U0001F600", {15, 2}},
        {repeated("x", 10) + family, {10, 11}},
        {repeated("x", 10) + marked, {16, 14}},
    };
    for (const auto& [text, expected] : cases) {
        const auto chunks = TextChunks::split(text);
        EXPECT_EQ(lengths(chunks), expected);
        std::u16string whole;
        for (const auto& chunk : chunks)
            whole += chunk;
        EXPECT_EQ(whole, platform::utf16Units(text));
    }
}

TEST(TextChunks, NeverTearAPairHoweverSmall) {
    EXPECT_EQ(lengths(TextChunks::split("abc", 2)), (std::vector<std::size_t>{2, 1}));
    EXPECT_EQ(lengths(TextChunks::split("a\U0001F44D\U0001F3FD", 2)),
              (std::vector<std::size_t>{1, 2, 2}));
    EXPECT_EQ(lengths(TextChunks::split("a\U0001F600", 3)), (std::vector<std::size_t>{3}));
    EXPECT_THROW(TextChunks::split("abc", 1), std::invalid_argument);
}
