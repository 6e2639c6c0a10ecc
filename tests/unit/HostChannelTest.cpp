#include "app/host/HostChannel.h"
#include "support/Frames.h"

#include <gtest/gtest.h>

#include <thread>

using namespace orvel;

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
