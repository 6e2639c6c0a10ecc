#include "app/HostChannel.h"
#include "support/Frames.h"

#include <gtest/gtest.h>

#include <thread>

using namespace orvel;

TEST(HostChannel, FrameHeaderIsTypeAndBigEndianLength) {
    EXPECT_EQ(frameHeader(FrameType::video, 0x01020304),
              (std::array<std::uint8_t, 5>{0x56, 1, 2, 3, 4}));
    EXPECT_EQ(frameHeader(FrameType::clipboard, 0),
              (std::array<std::uint8_t, 5>{0x43, 0, 0, 0, 0}));
}

TEST(HostChannel, ProblemIsAnErrorFrameWithTwoStrings) {
    test::CapturedOutput output;
    problem("no_display", "This Mac has no display to share.");
    const auto frames = output.frames();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].type, FrameType::error);
    EXPECT_EQ(frames[0].json(), (nlohmann::json{{"error", "no_display"},
                                                {"message", "This Mac has no display to share."}}));
}

TEST(HostChannel, WhatIsNoJSONIsNotSent) {
    test::CapturedOutput output;
    const nlohmann::json broken{{"name", "\xff"}};
    emitJSON(FrameType::announcement, broken);
    EXPECT_TRUE(output.frames().empty());
    EXPECT_EQ(serialized(broken), (Bytes{'{', '}'}));
}

TEST(HostChannel, FramesOfManyThreadsStayWholeAndInEachThreadsOrder) {
    test::CapturedOutput output;
    constexpr int threads = 4;
    constexpr int each = 200;
    {
        std::vector<std::jthread> writers;
        for (std::uint8_t writer = 0; writer < threads; ++writer)
            writers.emplace_back([writer] {
                for (std::uint8_t number = 0; number < each; ++number)
                    emit(FrameType::clipboard, Bytes(number * std::size_t{50} + 2, writer));
            });
    }
    std::array<std::size_t, threads> next{};
    for (const auto& frame : output.frames()) {
        const auto writer = frame.payload.front();
        ASSERT_EQ(frame.payload, Bytes(next.at(writer)++ * 50 + 2, writer));
    }
    EXPECT_EQ(next, (std::array<std::size_t, threads>{each, each, each, each}));
}
