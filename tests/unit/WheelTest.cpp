#include "platform/Wheel.h"

#include <gtest/gtest.h>

TEST(Wheel, KeepsWhatDoesNotMakeUpAClick) {
    platform::Wheel wheel;
    EXPECT_EQ(wheel.turn(39), 0);
    EXPECT_EQ(wheel.turn(1), 1);
    EXPECT_EQ(wheel.turn(-100), -2);
    EXPECT_EQ(wheel.turn(-20), -1);
    EXPECT_EQ(wheel.turn(2147483647), platform::Wheel::maxClicks);
    EXPECT_EQ(wheel.turn(0), 0) << "what is beyond the most is dropped";
}
