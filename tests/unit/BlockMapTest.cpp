#include "platform/picture/BlockMap.h"

#include <gtest/gtest.h>

using namespace platform;
using picture::BlockMap;

TEST(BlockMap, IsCoveredOnceByNoMoreAreasThanAllowed) {
    for (const int step : {1, 16, 40, 90}) {
        BlockMap map(333, 250);
        for (int at = 0; at < 333; at += step)
            map.mark({at, at % 250, 3, 3});
        for (const std::size_t limit : {1U, 4U, 20U, 400U}) {
            std::vector<Area> areas;
            map.cover(areas, limit);
            EXPECT_LE(areas.size(), limit);
            BlockMap covered(333, 250);
            for (const auto& area : areas) {
                BlockMap other(333, 250);
                other.mark(area);
                EXPECT_FALSE(covered.includes(other)) << "twice";
                covered.add(other);
            }
            EXPECT_TRUE(covered.includes(map));
            EXPECT_TRUE(limit < 400 || map.includes(covered)) << "more than is marked";
        }
    }
}
