#include "local/DisplayChoice.h"

#include <gtest/gtest.h>

using namespace orvel;

TEST(DisplayChoice, TheWantedElseTheMainElseTheFirst) {
    std::vector<Display> displays{{2, "left", {}, false}, {3, "right", {}, true}};
    EXPECT_EQ(chosenDisplay(displays, "2")->id, 2u);
    for (const auto* other : {"4", "abc", "2x", "4294967298", ""})
        EXPECT_EQ(chosenDisplay(displays, other)->id, 3u) << other;
    displays.pop_back();
    EXPECT_EQ(chosenDisplay(displays, std::nullopt)->id, 2u);
}
