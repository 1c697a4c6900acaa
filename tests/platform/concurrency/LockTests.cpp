#include <thread>

#include "platform/concurrency/ChainLock.hpp"
#include "platform/concurrency/ExitSlot.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

namespace {

template <class Body>
void onThreads(int count, Body body) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) threads.emplace_back([&body, number] { body(number); });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace

TEST(ChainLock, letsItsHolderInAgainAndOthersOnlyAfterTheLastRelease) {
    ChainLock lock;
    long counter = 0, inside = 0, faults = 0;
    onThreads(4, [&](int) {
        for (int round = 0; round < 5000; ++round) {
            lock.lock();
            if (++inside != 1) ++faults;
            lock.lock();
            lock.lock();
            ++counter;
            lock.unlock();
            lock.unlock();
            if (inside != 1) ++faults;
            --inside;
            lock.unlock();
        }
    });
    EXPECT_EQ(counter, 20'000);
    EXPECT_EQ(faults, 0);
    EXPECT_TRUE(lock.wasIdle());
    lock.lock();
    EXPECT_FALSE(lock.wasIdle());
    lock.unlock();
}

TEST(Guarded, keepsAValueWholeBetweenThreads) {
    struct Pair {
        std::uint64_t left = 0, right = 0;
    };
    Guarded<Pair> guarded;
    Guarded<std::vector<int>> list;
    std::atomic<std::size_t> taken{0};
    onThreads(4, [&](int number) {
        for (int round = 0; round < 3000; ++round) {
            guarded.with([](Pair& pair) { pair = {pair.left + 1, pair.right + 1}; });
            const Pair seen = guarded.get();
            ASSERT_EQ(seen.left, seen.right);
            list.with([&](std::vector<int>& held) { held.push_back(number); });
            if (round % 7 == 0) taken += list.take().size();
        }
    });
    EXPECT_EQ(guarded.get().left, 12'000u);
    EXPECT_EQ(taken + list.take().size(), 12'000u);
}

TEST(ExitSlot, aWalkKeepsWhatItFoundUntilItLeaves) {
    struct Exit {
        explicit Exit(std::atomic<int>& counter) : living(counter) { ++living; }
        ~Exit() {
            check = 0;
            --living;
        }
        std::uint64_t check = 0xFEED;
        std::atomic<int>& living;
    };
    std::atomic<int> living{0};
    std::atomic<bool> isOver{false};
    ChainLock lock;
    {
        ExitSlot<Exit> slot;
        const auto walk = [&] {
            while (!isOver) {
                lock.lock();
                const Exit* exit = slot.load();
                ASSERT_TRUE(!exit || exit->check == 0xFEED);
                lock.unlock();
            }
        };
        std::thread first(walk), second(walk);
        for (int round = 0; round < 5000; ++round) {
            slot.replace(round % 3 == 0 ? nullptr : std::make_unique<Exit>(living));
            slot.reclaim(lock);
        }
        isOver = true;
        first.join();
        second.join();
        EXPECT_TRUE(slot.reclaim(lock));
        EXPECT_EQ(living, 1);
        lock.lock();
        slot.replace(nullptr);
        EXPECT_FALSE(slot.reclaim(lock));
        EXPECT_EQ(living, 1);
        lock.unlock();
        EXPECT_TRUE(slot.reclaim(lock));
        EXPECT_EQ(living, 0);
        slot.replace(std::make_unique<Exit>(living));
    }
    EXPECT_EQ(living, 0);
}

}  // namespace varnolex
