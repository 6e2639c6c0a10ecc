#include "platform/x11/capture/FramePacer.h"

#include <gtest/gtest.h>

using namespace platform;
using namespace std::chrono_literals;

TEST(FramePacer, FramesThatStartALittleLateKeepTheRateAllTheSame) {
    x11::FramePacer pacer(10ms);
    MediaTime time{};
    for (int i = 0; i <= 100; ++i) {
        time = pacer.earliest() + 1ms;
        pacer.started(time);
    }
    EXPECT_EQ(time - MediaTime{}, 1001ms);
    pacer.started(time + 60s);
    EXPECT_EQ(pacer.earliest(), time + 60s + 10ms) << "what is long late is made up for";
}
