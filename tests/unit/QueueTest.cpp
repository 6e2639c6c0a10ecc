#include "platform/Queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <thread>
#include <vector>

using namespace platform;
using namespace std::chrono_literals;

TEST(SerialQueue, RunsTasksInOrderAndAllThatAreDueBeforeItEnds) {
    std::vector<int> order;
    {
        SerialQueue queue("test");
        for (int number = 0; number < 50; ++number)
            queue.async([&, number] { order.push_back(number); });
        queue.sync([&] { order.push_back(50); });
        EXPECT_EQ(order.size(), 51u);
        for (int number = 51; number < 100; ++number)
            queue.async([&, number] { order.push_back(number); });
    }
    EXPECT_EQ(order.size(), 100u) << "what was due is not done";
    EXPECT_TRUE(std::ranges::is_sorted(order));
}

TEST(SerialQueue, ADelayedTaskLetsOthersPassAndIsDroppedAtTheEnd) {
    std::vector<int> order;
    std::promise<void> delayedRan;
    {
        SerialQueue queue("test");
        queue.asyncAfter(1h, [&] { order.push_back(3); });
        queue.asyncAfter(20ms, [&] {
            order.push_back(2);
            delayedRan.set_value();
        });
        queue.async([&] { order.push_back(1); });
        delayedRan.get_future().wait();
    }
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(MainLoop, ServesTasksOfOtherThreadsAndTimersUntilStopped) {
    std::vector<std::thread::id> threads;
    int ticks = 0;
    const RepeatingTimer timer(5ms, [&] {
        if (++ticks == 3)
            stopMainLoop();
    });
    auto gone = std::make_unique<RepeatingTimer>(1ms, [] { FAIL() << "a timer that was ended"; });
    gone.reset();
    std::jthread other([&] { mainQueue([&] { threads.push_back(std::this_thread::get_id()); }); });
    runMainLoop();
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(threads, std::vector{std::this_thread::get_id()});
}
