#include <algorithm>
#include <array>
#include <atomic>
#include <set>

#include "platform/EveryRuntime.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex {

using namespace std::chrono_literals;
using Numbers = Guarded<std::vector<int>>;

namespace {

void note(Numbers& numbers, int number) {
    numbers.with([&](std::vector<int>& held) { held.push_back(number); });
}

}  // namespace

TYPED_TEST_SUITE(EveryRuntime, BothBenches);

TYPED_TEST(EveryRuntime, runsAQueueInTheOrderOfDeadlinesAndThenOfScheduling) {
    for (const QueuePriority priority : {QueuePriority::normal, QueuePriority::timing}) {
        Numbers ran;
        const auto queue = this->runtime().makeQueue("com.varnolex.test", priority);
        // By a task of the queue itself, so that none of them runs before all are there.
        queue->async([&] {
            const HostTime base = this->runtime().hostTime() + 5'000'000;
            queue->at(base + 1'000'000, [&] { note(ran, 5); });
            queue->at(base, [&] { note(ran, 3); });
            queue->at(base, [&] { note(ran, 4); });
            queue->async([&] { note(ran, 1); });
            queue->at(1, [&] { note(ran, 2); });
            queue->after(100ms, [&] { note(ran, 6); });
        });
        EXPECT_TRUE(this->bench.runUntil([&] { return ran.get().size() == 6; }));
        EXPECT_EQ(ran.get(), (std::vector<int>{1, 2, 3, 4, 5, 6}));
        EXPECT_EQ(queue->label(), "com.varnolex.test");
    }
}

TYPED_TEST(EveryRuntime, neverRunsBeforeTheDeadline) {
    std::atomic<int> early{0}, ran{0};
    const auto queue = this->runtime().makeQueue("test", QueuePriority::timing);
    const HostTime base = this->runtime().hostTime();
    for (HostTime delay = 0; delay < 200; ++delay) {
        const HostTime deadline = base + delay * 50'000;
        queue->at(deadline, [&, deadline] {
            if (Runtime::current().hostTime() < deadline) early.fetch_add(1);
            ran.fetch_add(1);
        });
    }
    EXPECT_TRUE(this->bench.runUntil([&] { return ran.load() == 200; }));
    EXPECT_EQ(early.load(), 0);
}

TYPED_TEST(EveryRuntime, cancelsPendingWorkAndNothingElse) {
    Numbers ran;
    const auto queue = this->runtime().makeQueue("test", QueuePriority::timing);
    const auto held = std::make_shared<int>(0);
    WorkItem cancelled = queue->after(2ms, [&ran, held] { note(ran, 1); });
    EXPECT_EQ(held.use_count(), 2);
    cancelled.cancel();
    EXPECT_EQ(held.use_count(), 1) << "a cancelled task lets go of what it holds at once";
    queue->after(3ms, [&] { note(ran, 2); });
    cancelled.cancel();
    WorkItem().cancel();

    WorkItem later;
    queue->after(4ms, [&] { later.cancel(); });
    later = queue->after(5ms, [&] { note(ran, 3); });
    WorkItem self;
    self = queue->after(6ms, [&] {
        self.cancel();
        note(ran, 4);
    });
    WorkItem ended = queue->after(7ms, [&] { note(ran, 5); });
    queue->after(8ms, [&] { ended.cancel(); });
    queue->after(9ms, [&] { note(ran, 6); });
    EXPECT_TRUE(this->bench.runUntil([&] { return !ran.get().empty() && ran.get().back() == 6; }));
    EXPECT_EQ(ran.get(), (std::vector<int>{2, 4, 5, 6}));
}

TYPED_TEST(EveryRuntime, ticksOnAGridUntilTheTimerIsReset) {
    struct Metronome {
        Guarded<std::vector<HostTime>> ticks;
        RepeatingTimer timer;
    } metronome;
    const auto queue = this->runtime().makeQueue("test", QueuePriority::timing);
    const HostTime first = this->runtime().hostTime() + 2'000'000;
    std::atomic<bool> isOver{false};
    queue->async([&] {
        metronome.timer = queue->repeating(first, 1ms, [&] {
            const std::size_t count = metronome.ticks.with([](std::vector<HostTime>& ticks) {
                ticks.push_back(Runtime::current().hostTime());
                return ticks.size();
            });
            if (count < 20) return;
            metronome.timer.reset();
            queue->after(5ms, [&] { isOver.store(true); });
        });
    });
    EXPECT_TRUE(this->bench.runUntil([&] { return isOver.load(); }));
    const std::vector<HostTime> ticks = metronome.ticks.get();
    ASSERT_EQ(ticks.size(), 20u);
    for (std::size_t tick = 0; tick < ticks.size(); ++tick) EXPECT_GE(ticks[tick], first + tick * 1'000'000);
}

TYPED_TEST(EveryRuntime, dropsWhatIsPendingWhenTheQueueGoes) {
    const auto held = std::make_shared<int>(0);
    std::atomic<int> ran{0}, alive{0};
    auto queue = this->runtime().makeQueue("test", QueuePriority::timing);
    const auto other = this->runtime().makeQueue("other", QueuePriority::timing);
    WorkItem item = queue->after(1ms, [&ran, held] { ran.fetch_add(1); });
    RepeatingTimer timer = queue->repeating(0, 1h, [held] {});
    RepeatingTimer later = queue->repeating(Runtime::current().hostTime() + ticksPerSecond, 1h, [held] {});
    other->after(2ms, [&] { alive.fetch_add(1); });
    EXPECT_TRUE(this->bench.runUntil([&] { return held.use_count() >= 3; }));
    queue.reset();
    item.cancel();
    timer.reset();
    EXPECT_TRUE(this->bench.runUntil([&] { return alive.load() == 1 && held.use_count() == 1; }));
    EXPECT_LE(ran.load(), 1);
}

TYPED_TEST(EveryRuntime, aTaskMayDropItsOwnQueue) {
    std::atomic<int> ran{0};
    auto queue = this->runtime().makeQueue("test", QueuePriority::timing);
    std::weak_ptr<Queue> watched = queue;
    queue->async([&ran, mine = std::move(queue)]() mutable {
        mine->async([&ran] { ran.fetch_add(100); });
        mine.reset();
        ran.fetch_add(1);
    });
    EXPECT_TRUE(this->bench.runUntil([&] { return ran.load() >= 1 && watched.expired(); }));
    EXPECT_EQ(ran.load(), 1);
}

TYPED_TEST(EveryRuntime, whatATaskHoldsMayCallOffAndScheduleAsItGoes) {
    struct Owner {
        ~Owner() {
            queue->async([&count = *destroyed] { count.fetch_add(1); });
        }
        std::shared_ptr<Queue> queue;
        std::atomic<int>* destroyed;
        RepeatingTimer timer;
    };
    std::atomic<int> destroyed{0};
    const auto queue = this->runtime().makeQueue("test", QueuePriority::timing);
    const auto makeOwner = [&] {
        auto owner = std::make_shared<Owner>();
        owner->queue = queue;
        owner->destroyed = &destroyed;
        owner->timer = queue->repeating(Runtime::current().hostTime() + ticksPerSecond, 1h, [] {});
        return owner;
    };
    WorkItem item = queue->after(1h, [owner = makeOwner()] {});
    queue->async([owner = makeOwner()] {});
    item.cancel();
    EXPECT_TRUE(this->bench.runUntil([&] { return destroyed.load() == 2; }));
}

TYPED_TEST(EveryRuntime, endsWithWorkPendingAndQueuesThatOutliveIt) {
    const auto held = std::make_shared<int>(0);
    const auto queue = this->runtime().makeQueue("test", QueuePriority::normal);
    WorkItem item = queue->after(1h, [held, queue] {});
    RepeatingTimer timer =
        this->runtime().mainQueue().repeating(this->runtime().hostTime() + ticksPerSecond, 1ms, [held] {});
    this->runtime().postToMain([held] {});
    this->bench.runtime.reset();
    EXPECT_EQ(held.use_count(), 1);
    queue->async([held] {});
    queue->at(1, [held] {}).cancel();
    EXPECT_EQ(held.use_count(), 1);
    item.cancel();
    timer.reset();
}

TYPED_TEST(EveryRuntime, postsToMainInOrderAndCountsWhatIsLost) {
    constexpr int capacity = 4096;
    std::vector<int> arrived;
    int refused = 0;
    for (int letter = 0; letter < capacity + 10; ++letter)
        if (!this->runtime().postToMain([&arrived, letter] { arrived.push_back(letter); })) ++refused;
    EXPECT_EQ(refused, 10);
    EXPECT_EQ(this->runtime().lostMainTasks(), 10u);
    EXPECT_TRUE(this->bench.runUntil([&] { return arrived.size() >= capacity; }));
    ASSERT_EQ(arrived.size(), static_cast<std::size_t>(capacity));
    for (int letter = 0; letter < capacity; ++letter) ASSERT_EQ(arrived[static_cast<std::size_t>(letter)], letter);
    EXPECT_TRUE(this->runtime().postToMain([&] { arrived.clear(); }));
    EXPECT_TRUE(this->bench.runUntil([&] { return arrived.empty(); }));
}

TYPED_TEST(EveryRuntime, schedulesCancelsAndRunsWithoutAllocatingInSteadyState) {
    const auto queue = this->runtime().makeQueue("test", QueuePriority::timing);
    std::atomic<int> ran{0};
    const RepeatingTimer tick = queue->repeating(0, 100us, [] {});
    const auto turn = [&](int rounds) {
        for (int round = 0; round < rounds; ++round) {
            // Whatever a round hands over has run before the next one: a backlog may grow as it likes, a steady state
            // not.
            const int target = ran.load() + 51;
            for (int item = 0; item < 50; ++item) {
                queue->async([&] { ran.fetch_add(1); });
                WorkItem watchdog = queue->after(1h, [&] { ran.fetch_add(1); });
                watchdog.cancel();
            }
            this->runtime().postToMain([&] { ran.fetch_add(1); });
            this->bench.runUntil([&] { return ran.load() >= target; });
        }
    };
    turn(20);
    const AllocationTrap trap;
    turn(50);
    EXPECT_EQ(trap.count(), 0u);
}

TYPED_TEST(EveryRuntime, drawsUniformNumbersWithinTheirBounds) {
    Runtime& runtime = this->runtime();
    std::array<int, 7> counts{};
    for (int draw = 0; draw < 70'000; ++draw) ++counts.at(static_cast<std::size_t>(runtime.randomInteger(-3, 3) + 3));
    for (const int count : counts) EXPECT_NEAR(count, 10'000, 600);
    EXPECT_EQ(runtime.randomInteger(5, 5), 5);
    EXPECT_EQ(runtime.randomInteger(5, -5), 5);
    constexpr auto lowest = std::numeric_limits<std::int64_t>::min(),
                   highest = std::numeric_limits<std::int64_t>::max();
    bool sawNegative = false, sawPositive = false;
    for (int draw = 0; draw < 100; ++draw)
        (runtime.randomInteger(lowest, highest) < 0 ? sawNegative : sawPositive) = true;
    EXPECT_TRUE(sawNegative && sawPositive);
    double sum = 0;
    for (int draw = 0; draw < 10'000; ++draw) {
        const double unit = runtime.randomUnit();
        ASSERT_TRUE(unit >= 0 && unit < 1);
        sum += unit;
    }
    EXPECT_NEAR(sum / 10'000, 0.5, 0.02);
}

TYPED_TEST(EveryRuntime, makesVersion4UUIDsThatDiffer) {
    constexpr int draws = 1000;
    std::set<UUID> seen;
    std::array<int, 128> timesSet{};
    for (int draw = 0; draw < draws; ++draw) {
        const UUID id = this->runtime().makeUUID();
        for (std::size_t bit = 0; bit < timesSet.size(); ++bit)
            timesSet[bit] += static_cast<int>((bit < 64 ? id.high : id.low) >> (bit % 64) & 1);
        const std::string text = id.text();
        ASSERT_EQ(text[14], '4') << text;
        ASSERT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
        ASSERT_EQ(UUID::fromText(text), id);
        ASSERT_TRUE(seen.insert(id).second);
    }
    const auto isFree = [](int times) { return times > draws * 2 / 5 && times < draws * 3 / 5; };
    EXPECT_EQ(std::ranges::count_if(timesSet, isFree), 122) << "each bit that the version leaves free is drawn";
}

TEST(Runtime, scopesNestAndGiveTheFormerRuntimeBack) {
    EXPECT_FALSE(Runtime::isInstalled());
    VirtualRuntime outer, inner;
    {
        const RuntimeScope outerScope(outer);
        {
            const RuntimeScope innerScope(inner);
            EXPECT_EQ(&Runtime::current(), &inner);
        }
        EXPECT_EQ(&Runtime::current(), &outer);
    }
    EXPECT_FALSE(Runtime::isInstalled());
    EXPECT_DEATH(Runtime::current(), "no runtime is installed");
}

TEST(UUID, readsTheDashedFormInEitherCaseAndNothingElse) {
    const UUID id{0x0123456789ABCDEF, 0xFEDCBA9876543210};
    EXPECT_EQ(id.text(), "01234567-89AB-CDEF-FEDC-BA9876543210");
    EXPECT_EQ(UUID::fromText("01234567-89ab-cdef-FEDC-ba9876543210"), id);
    EXPECT_TRUE(UUID::fromText("00000000-0000-0000-0000-000000000000")->isNil());
    for (const char* wrong : {"", "01234567-89AB-CDEF-FEDC-BA987654321", "01234567-89AB-CDEF-FEDC-BA98765432100",
                              "0123456789AB-CDEF-FEDC-BA9876543210----", "01234567-89AB-CDEF-FEDC-BA987654321G",
                              "01234567_89AB-CDEF-FEDC-BA9876543210", "{1234567-89AB-CDEF-FEDC-BA987654321}"})
        EXPECT_FALSE(UUID::fromText(wrong)) << wrong;
}

}  // namespace varnolex
