#include "platform/TaskSchedule.hpp"
#include "platform/VirtualRuntime.hpp"

namespace varnolex {

using namespace std::chrono_literals;

TEST(VirtualRuntime, runsTheItemsOfOneInstantInTheOrderOfSchedulingAcrossQueues) {
    VirtualRuntime runtime;
    const auto first = runtime.makeQueue("first", QueuePriority::timing);
    const auto second = runtime.makeQueue("second", QueuePriority::normal);
    std::string ran;
    const HostTime now = runtime.hostTime();
    EXPECT_EQ(now, VirtualRuntime::epoch);
    second->at(now + 10, [&] { ran += 'd'; });
    first->async([&] {
        ran += 'a';
        first->async([&] { ran += 'c'; });
    });
    runtime.postToMain([&] { ran += 'b'; });
    first->at(now + 10, [&] { ran += 'e'; });
    runtime.mainQueue().at(now + 11, [&] { ran += 'f'; });
    runtime.settle();
    EXPECT_EQ(ran, "abc");
    EXPECT_EQ(runtime.hostTime(), now);
    runtime.runUntil(now + 10);
    EXPECT_EQ(ran, "abcde");
    EXPECT_EQ(runtime.pendingItems(), 1u);
    runtime.runFor(1s);
    EXPECT_EQ(ran, "abcdef");
    EXPECT_EQ(runtime.hostTime(), now + ticksPerSecond + 10);
    EXPECT_EQ(runtime.pendingItems(), 0u);
    runtime.runUntil(now);
    EXPECT_EQ(runtime.hostTime(), now + ticksPerSecond + 10) << "time doesn't run backwards";
}

TEST(VirtualRuntime, passesADayOfClockTicksWithoutDrift) {
    VirtualRuntime runtime;
    const auto queue = runtime.makeQueue("com.varnolex.clock", QueuePriority::timing);
    constexpr Nanoseconds period(ticksPerSecond / 48);
    constexpr std::uint64_t ticks = 24 * 3600 * 48;
    std::uint64_t count = 0, offGrid = 0;
    const HostTime start = runtime.hostTime();
    const RepeatingTimer timer = queue->repeating(start, period, [&] {
        if (runtime.hostTime() != start + count * static_cast<HostTime>(period.count())) ++offGrid;
        ++count;
    });
    runtime.runUntil(start + (ticks - 1) * static_cast<HostTime>(period.count()));
    EXPECT_EQ(count, ticks);
    EXPECT_EQ(offGrid, 0u);
    EXPECT_EQ(runtime.pendingItems(), 1u);
}

TEST(VirtualRuntime, keepsATimersGridWhenItsFirstTickHasPassed) {
    VirtualRuntime runtime;
    std::vector<HostTime> late, immediate;
    const HostTime now = runtime.hostTime();
    const RepeatingTimer past =
        runtime.mainQueue().repeating(now - 250, Nanoseconds(100), [&] { late.push_back(runtime.hostTime() - now); });
    const RepeatingTimer atOnce =
        runtime.mainQueue().repeating(0, Nanoseconds(100), [&] { immediate.push_back(runtime.hostTime() - now); });
    runtime.runUntil(now + 200);
    EXPECT_EQ(late, (std::vector<HostTime>{0, 50, 150}));
    EXPECT_EQ(immediate, (std::vector<HostTime>{0, 100, 200}));
}

TEST(VirtualRuntime, drawsTheSameFromTheSameSeedOnly) {
    const auto drawn = [](std::uint64_t seed) {
        VirtualRuntime runtime(seed);
        return std::pair(runtime.makeUUID(), runtime.randomBits());
    };
    EXPECT_EQ(drawn(7), drawn(7));
    EXPECT_NE(drawn(7), drawn(8));
    EXPECT_NE(drawn(0), drawn(1));
}

TEST(VirtualRuntime, survivesATaskThatThrows) {
    VirtualRuntime runtime;
    int ran = 0;
    runtime.mainQueue().async([] { throw std::runtime_error("stop"); });
    runtime.mainQueue().async([&] { ++ran; });
    EXPECT_THROW(runtime.settle(), std::runtime_error);
    runtime.settle();
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(runtime.pendingItems(), 0u);
}

TEST(TaskSchedule, makesUpForLateTicksButNotForAStandstill) {
    TaskSchedule schedule(1);
    Task ended;
    const HostTime start = 10 * ticksPerSecond, period = ticksPerSecond / 10;
    schedule.push(nullptr, start, period, start, [] {});
    const auto nextAfterRunAt = [&](HostTime time) {
        EXPECT_TRUE(schedule.begin(time).task);
        schedule.finish(time, ended);
        return *schedule.nextDeadline();
    };
    EXPECT_EQ(nextAfterRunAt(start + 5 * period + 1), start + period);
    EXPECT_EQ(nextAfterRunAt(start + 5 * period + 2), start + 2 * period);
    EXPECT_EQ(nextAfterRunAt(start + 600 * period + 3), start + 600 * period);
    EXPECT_EQ(nextAfterRunAt(start + 600 * period + 3), start + 601 * period);
}

TEST(TaskSchedule, ordersManyTasksWithMostOfThemCalledOff) {
    TaskSchedule schedule(1);
    std::vector<TaskSchedule::Ticket> tickets;
    std::vector<int> ran;
    for (int item = 0; item < 5000; ++item) {
        const auto deadline = static_cast<HostTime>(1000 + item * 7919 % 5000);
        tickets.push_back(
            schedule.push(nullptr, deadline, 0, 1, [&ran, deadline] { ran.push_back(static_cast<int>(deadline)); }));
    }
    for (std::size_t item = 0; item < tickets.size(); ++item) {
        Task ended;
        if (item % 10 != 0) schedule.cancel(tickets[item], ended);
        EXPECT_EQ(static_cast<bool>(ended), item % 10 != 0);
    }
    EXPECT_EQ(schedule.size(), 500u);
    while (Task* task = schedule.begin(10'000).task) {
        (*task)();
        Task ended;
        schedule.finish(10'000, ended);
    }
    EXPECT_EQ(ran.size(), 500u);
    EXPECT_TRUE(std::is_sorted(ran.begin(), ran.end()));
}

}  // namespace varnolex
