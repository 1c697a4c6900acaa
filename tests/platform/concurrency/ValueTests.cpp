#include <atomic>
#include <cmath>
#include <latch>
#include <limits>
#include <thread>

#include "platform/concurrency/AwaitedValue.hpp"
#include "platform/concurrency/ChangeCount.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Mailbox.hpp"
#include "platform/concurrency/Published.hpp"
#include "platform/concurrency/Snapshot.hpp"

namespace varnolex {

TEST(Snapshot, readersSeeWholeRecordsThatNeverGoBack) {
    struct Record {
        std::array<std::uint32_t, 33> numbers{};
        std::uint32_t round = 0;
    };
    Snapshot<Record> snapshot;
    ChangeCount changes;
    std::atomic<bool> isOver{false};
    const auto readAll = [&] {
        std::uint32_t last = 0;
        do {
            const std::uint64_t seen = changes.get();
            const Record record = snapshot.read();
            ASSERT_GE(record.round + 1, seen) << "whoever has seen the count sees the change";
            for (const std::uint32_t number : record.numbers) ASSERT_EQ(number, record.numbers[0]);
            ASSERT_GE(record.numbers[0], last);
            ASSERT_EQ(record.numbers[0], record.round);
            last = record.round;
        } while (!isOver);
    };
    std::thread first(readAll), second(readAll);
    for (std::uint32_t round = 1; round <= 20'000; ++round) {
        Record record;
        record.numbers.fill(round);
        record.round = round;
        snapshot.publish(record);
        changes.add();
    }
    isOver = true;
    first.join();
    second.join();
    EXPECT_EQ(snapshot.read().numbers[32], 20'000u);
    EXPECT_TRUE(changes.isBeyond(20'000));
    EXPECT_FALSE(changes.isBeyond(changes.get()));
}

TEST(Snapshot, readsAFieldOfASingleWord) {
    struct Record {
        std::uint16_t first = 0;
        std::uint8_t second = 0;
    };
    Snapshot<Record> snapshot;
    snapshot.publish({300, 7});
    EXPECT_EQ(snapshot.read().second, 7);
}

TEST(Published, freesWhatNoReaderHoldsAndNothingElse) {
    struct Object {
        explicit Object(std::atomic<int>& counter) : living(counter) { ++living; }
        ~Object() {
            check = 0;
            --living;
        }
        std::uint64_t check = 0xFEED;
        std::atomic<int>& living;
    };
    std::atomic<int> living{0};
    std::atomic<bool> isOver{false};
    Published<Object> published;
    EXPECT_TRUE(published.isEmpty());
    const auto readAll = [&] {
        while (!isOver) published.read([](const Object* object) { ASSERT_TRUE(!object || object->check == 0xFEED); });
    };
    std::thread first(readAll), second(readAll);
    for (int round = 0; round < 5000; ++round) published.publish(std::make_unique<Object>(living));
    isOver = true;
    first.join();
    second.join();
    published.publish(std::make_unique<Object>(living));
    EXPECT_EQ(living, 1);
    published.read([&](const Object* object) {
        published.publish(nullptr);
        EXPECT_EQ(object->check, 0xFEEDu);
        EXPECT_EQ(living, 1);
    });
    EXPECT_TRUE(published.isEmpty());
    published.publish(nullptr);
    EXPECT_EQ(living, 0);
}

TEST(Published, keepsAnObjectForMoreReadersThanHavePlacesOfTheirOwn) {
    constexpr int readerCount = 300;
    Published<std::shared_ptr<int>> published;
    const auto watched = std::make_shared<int>(1);
    published.publish(std::make_unique<std::shared_ptr<int>>(watched));
    std::latch areInside(readerCount), mayLeave(1);
    std::vector<std::thread> readers;
    for (int index = 0; index < readerCount; ++index)
        readers.emplace_back([&] {
            published.read([&](const std::shared_ptr<int>* object) {
                areInside.count_down();
                mayLeave.wait();
                EXPECT_EQ(**object, 1);
            });
        });
    areInside.wait();
    published.publish(nullptr);
    EXPECT_FALSE(published.reclaim());
    mayLeave.count_down();
    for (std::thread& reader : readers) reader.join();
    EXPECT_TRUE(published.reclaim());
    EXPECT_EQ(watched.use_count(), 1);
}

TEST(Mailbox, deliversEachSendersLettersInOrderAndCountsTheRefused) {
    constexpr std::uint64_t senders = 4, letters = 5000;
    Mailbox<std::uint64_t> mailbox(100);
    std::atomic<std::uint64_t> refused{0}, finished{0};
    std::vector<std::thread> threads;
    for (std::uint64_t sender = 0; sender < senders; ++sender)
        threads.emplace_back([&, sender] {
            for (std::uint64_t letter = 1; letter <= letters; ++letter)
                if (!mailbox.post(sender << 32 | letter)) ++refused;
            ++finished;
        });
    std::array<std::uint64_t, senders> last{};
    std::uint64_t arrived = 0, letter = 0;
    for (bool isLastLook = false;;) {
        while (mailbox.take(letter)) {
            ++arrived;
            ASSERT_GT(letter & 0xFFFF'FFFF, last[letter >> 32]);
            last[letter >> 32] = letter & 0xFFFF'FFFF;
        }
        if (isLastLook) break;
        isLastLook = finished == senders;
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(arrived + refused, senders * letters);
    EXPECT_EQ(mailbox.lostLetters(), refused);

    Mailbox<int> small(4);
    for (int round = 0; round < 3; ++round) {
        for (int item = 0; item < 4; ++item) EXPECT_TRUE(small.post(int{item}));
        EXPECT_FALSE(small.post(4));
        int taken = -1;
        for (int item = 0; item < 4; ++item) EXPECT_TRUE(small.take(taken) && taken == item);
        EXPECT_FALSE(small.take(taken));
    }
    EXPECT_EQ(small.lostLetters(), 3u);
}

TEST(LiveValue, holdsEveryDoubleOrNothing) {
    LiveValue value;
    EXPECT_FALSE(value.get());
    for (const double number :
         {0.0, -0.0, 1.5, -1e300, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::denorm_min()}) {
        value.set(number);
        EXPECT_EQ(value.get(), number);
    }
    value.set(std::bit_cast<double>(0x7FF8'0000'DEAD'0001ull));
    ASSERT_TRUE(value.get()) << "a NaN isn't taken for nothing, whatever its bits";
    EXPECT_TRUE(std::isnan(*value.get()));
    value.set(std::nullopt);
    EXPECT_FALSE(value.get());
}

TEST(SharedValue, addsAndExchangesInOneStep) {
    SharedValue<int> sum{0}, turns{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                sum.add(1);
                turns.exchange(round);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(sum.get(), 20'000);
    EXPECT_EQ(turns.exchange(7), 4999);
    EXPECT_EQ(turns.get(), 7);
}

TEST(AwaitedValue, handsTheTurnAndWhatIsSharedToAndFroHoweverLongBothLook) {
    using namespace std::chrono_literals;
    for (const Nanoseconds look : {0ns, 500ns, 20'000ns}) {
        AwaitedValue<int> turn{0};
        int shared = 0;
        constexpr int rounds = 5'000;
        std::thread other([&] {
            while (turn.wait(look, [](int now) { return now != 0; }) == 1) {
                ++shared;
                EXPECT_TRUE(turn.change(1, 0));
            }
        });
        for (int round = 1; round <= rounds; ++round) {
            turn.set(1);
            ASSERT_EQ(turn.wait(look, 20s, [](int now) { return now == 0; }), 0);
            ASSERT_EQ(shared, round);
        }
        EXPECT_FALSE(turn.change(1, 0));
        EXPECT_EQ(turn.wait(look, 2ms, [](int now) { return now == 1; }), 0);
        turn.set(2);
        other.join();
    }
}

}  // namespace varnolex
