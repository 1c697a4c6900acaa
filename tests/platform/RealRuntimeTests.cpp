#include <poll.h>

#include <atomic>
#include <thread>

#include "platform/EveryRuntime.hpp"
#include "platform/RealRuntime.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex {

using namespace std::chrono_literals;

namespace {

class RealRuntimeTest : public testing::Test {
protected:
    bool isReadable() {
        pollfd interest{runtime.mainWakeDescriptor(), POLLIN, 0};
        return poll(&interest, 1, 0) == 1;
    }
    bool waitReadable() {
        pollfd interest{runtime.mainWakeDescriptor(), POLLIN, 0};
        return poll(&interest, 1, 20'000) == 1;
    }

    RealBench bench;
    RealRuntime& runtime = *bench.runtime;
    RuntimeScope scope{runtime};
};

}  // namespace

TEST_F(RealRuntimeTest, keepsQueuesSerialAndEachSendersOrderUnderThreads) {
    constexpr int senders = 4, items = 5000;
    struct Witness {
        std::array<int, senders> next{};
        int inside = 0, faults = 0, ran = 0;
    };
    for (const QueuePriority priority : {QueuePriority::timing, QueuePriority::normal}) {
        Witness witness;
        std::atomic<bool> isDone{false};
        const auto queue = runtime.makeQueue("test", priority);
        std::vector<std::thread> threads;
        for (int sender = 0; sender < senders; ++sender)
            threads.emplace_back([&, sender] {
                for (int item = 0; item < items; ++item) {
                    WorkItem never = queue->after(1h, [&] { ++witness.faults; });
                    queue->async([&, sender, item] {
                        if (witness.inside++ != 0) ++witness.faults;
                        if (witness.next[static_cast<std::size_t>(sender)]++ != item) ++witness.faults;
                        --witness.inside;
                        if (++witness.ran == senders * items) isDone.store(true);
                    });
                    never.cancel();
                }
            });
        EXPECT_TRUE(bench.runUntil([&] { return isDone.load(); }));
        for (std::thread& thread : threads) thread.join();
        std::atomic<int> faults{-1};
        queue->async([&] { faults.store(witness.faults); });
        EXPECT_TRUE(bench.runUntil([&] { return faults.load() >= 0; }));
        EXPECT_EQ(faults.load(), 0);
    }
}

TEST_F(RealRuntimeTest, aForeignThreadSchedulesWithoutAllocating) {
    const auto queue = runtime.makeQueue("test", QueuePriority::timing);
    std::atomic<int> ran{0};
    std::atomic<long> allocations{-1};
    std::thread sender([&] {
        Runtime::current().randomBits();
        const AllocationTrap trap;
        for (int item = 0; item < 900; ++item) {
            queue->after(1ms, [&] { ran.fetch_add(1); });
            runtime.postToMain([&] { ran.fetch_add(1); });
            runtime.makeUUID();
        }
        allocations.store(static_cast<long>(trap.count()));
    });
    EXPECT_TRUE(bench.runUntil([&] { return ran.load() == 1800 && allocations.load() >= 0; }));
    sender.join();
    EXPECT_EQ(allocations.load(), 0);
}

TEST_F(RealRuntimeTest, makesUpForTicksThatALongTaskHeldUp) {
    constexpr HostTime period = 500'000, heldUp = 20 * period;
    const auto queue = runtime.makeQueue("test", QueuePriority::timing);
    std::atomic<HostTime> ticks{0}, leastLate{~HostTime{0}};
    const HostTime first = runtime.hostTime();
    const RepeatingTimer timer = queue->repeating(first, Nanoseconds(period), [&] {
        const HostTime tick = ticks.load();
        const HostTime late = runtime.hostTime() - (first + tick * period);
        if (tick > 30 && late < leastLate) leastLate = late;
        while (tick == 1 && runtime.hostTime() < first + heldUp) {
        }
        ++ticks;
    });
    EXPECT_TRUE(bench.runUntil([&] { return ticks >= 200; }));
    EXPECT_LT(leastLate.load(), heldUp / 2) << "the nth tick is the nth point of the grid, whatever came between";
}

TEST_F(RealRuntimeTest, aTimingThreadSleepsAndWakesWithoutAllocating) {
    const auto queue = runtime.makeQueue("test", QueuePriority::timing);
    std::optional<AllocationTrap> trap;
    std::atomic<int> ticks{0};
    std::atomic<long> allocations{-1};
    const RepeatingTimer timer = queue->repeating(0, 300us, [&] {
        queue->async([] {});
        const int tick = ++ticks;
        if (tick == 50) trap.emplace();
        if (tick == 200) allocations = static_cast<long>(trap->count());
    });
    EXPECT_TRUE(bench.runUntil([&] { return allocations >= 0; }));
    EXPECT_EQ(allocations, 0);
}

TEST_F(RealRuntimeTest, threadsKnowWhetherTheyAreMain) {
    EXPECT_TRUE(runtime.isMainThread());
    std::atomic<int> answers{0};
    const auto queue = runtime.makeQueue("test", QueuePriority::normal);
    queue->async([&] { answers.fetch_add(runtime.isMainThread() ? 100 : 1); });
    runtime.mainQueue().async([&] { answers.fetch_add(runtime.isMainThread() ? 1 : 100); });
    queue->async([&] { runtime.mainQueue().async([&] { answers.fetch_add(runtime.isMainThread() ? 1 : 100); }); });
    EXPECT_TRUE(bench.runUntil([&] { return answers.load() == 3; }));
}

TEST_F(RealRuntimeTest, servesAMainThreadThatAnotherLoopOwns) {
    int ran = 0;
    runtime.pollMain();
    EXPECT_FALSE(isReadable());
    std::thread([&] { runtime.mainQueue().async([&] { ++ran; }); }).join();
    EXPECT_TRUE(isReadable());
    runtime.pollMain();
    EXPECT_EQ(ran, 1);
    EXPECT_FALSE(isReadable());

    runtime.mainQueue().after(3ms, [&] { ++ran; });
    const HostTime limit = runtime.hostTime() + 20 * ticksPerSecond;
    while (ran < 2 && runtime.hostTime() < limit) {
        EXPECT_TRUE(waitReadable());
        runtime.pollMain();
    }
    EXPECT_EQ(ran, 2);
    EXPECT_FALSE(isReadable());

    for (int letter = 0; letter < 5; ++letter) runtime.postToMain([&] { ++ran; });
    EXPECT_TRUE(isReadable());
    runtime.mainQueue().async([&] {
        runtime.mainQueue().async([&] { ++ran; });
        runtime.pollMain();
        EXPECT_EQ(ran, 7) << "a nested poll doesn't overtake";
    });
    while (ran < 8 && waitReadable()) runtime.pollMain();
    EXPECT_EQ(ran, 8);
}

TEST_F(RealRuntimeTest, stopsMainBetweenTwoTasksAndGoesOnLater) {
    int ran = 0;
    runtime.mainQueue().async([&] {
        ++ran;
        runtime.stopMain();
    });
    runtime.mainQueue().async([&] { ++ran; });
    runtime.runMain();
    EXPECT_EQ(ran, 1);
    EXPECT_TRUE(isReadable()) << "what is left is told to another loop";
    runtime.stopMain();
    runtime.runMain();
    EXPECT_EQ(ran, 1);
    runtime.mainQueue().async([&] { runtime.stopMain(); });
    runtime.runMain();
    EXPECT_EQ(ran, 2);
}

}  // namespace varnolex
