#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>

#include "platform/DescriptorThread.hpp"
#include "platform/MonotonicTime.hpp"

namespace varnolex {
namespace {

class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe(ends.data()), 0); }
    ~Pipe() {
        close(ends[0]);
        closeWriter();
    }
    int reader() const { return ends[0]; }
    void write(char letter) { EXPECT_EQ(::write(ends[1], &letter, 1), 1); }
    /// Waits for one. 0 at the end.
    char read() {
        char letter = 0;
        return ::read(ends[0], &letter, 1) == 1 ? letter : '\0';
    }
    void closeWriter() {
        if (ends[1] >= 0) close(std::exchange(ends[1], -1));
    }

private:
    std::array<int, 2> ends{};
};

/// The thread tells of each call by a letter in `told`.
class DescriptorThreadTest : public testing::Test {
protected:
    DescriptorThread::Calls calls() {
        return {[this] {
                    const char letter = watched.read();
                    told.write(letter ? letter : 'e');
                    return letter != 0;
                },
                [this] {
                    const int wanted = wants.exchange(0);
                    if (rungFor.exchange(false)) told.write('r');
                    if (wanted == 0) return DescriptorThread::never;
                    told.write(static_cast<char>('0' + wanted));
                    wants = wanted - 1;
                    due = monotonicTime() + 2'000'000;
                    return wanted > 1 ? due.load() : DescriptorThread::never;
                }};
    }

    Pipe watched;
    Pipe told;
    std::shared_ptr<Bell> bell = std::make_shared<Bell>();
    std::atomic<int> wants{0};
    std::atomic<bool> rungFor{false};
    std::atomic<HostTime> due{0};
};

TEST_F(DescriptorThreadTest, ReadsWhatComesAndStopsWatchingWhatHasEnded) {
    DescriptorThread thread("test", watched.reader(), bell, calls());
    watched.write('a');
    watched.write('b');
    EXPECT_EQ(told.read(), 'a');
    EXPECT_EQ(told.read(), 'b');
    watched.closeWriter();
    EXPECT_EQ(told.read(), 'e');
    // An ended descriptor stays readable: it would be read again and again before this.
    rungFor = true;
    bell->ring();
    EXPECT_EQ(told.read(), 'r');
}

TEST_F(DescriptorThreadTest, NoRingIsLostHoweverManyCome) {
    DescriptorThread thread("test", watched.reader(), bell, calls());
    for (int round = 0; round < 2000; ++round) {
        rungFor = true;
        bell->ring();
        ASSERT_EQ(told.read(), 'r');
    }
}

TEST_F(DescriptorThreadTest, RunsAgainWhenTheTimeHasCome) {
    wants = 3;
    DescriptorThread thread("test", watched.reader(), bell, calls());
    EXPECT_EQ(told.read(), '3');
    EXPECT_EQ(told.read(), '2');
    EXPECT_EQ(told.read(), '1');
    EXPECT_GE(monotonicTime() + 2'000'000, due.load());
}

TEST_F(DescriptorThreadTest, EndsWhileItSleepsForGood) {
    { DescriptorThread thread("test", watched.reader(), bell, calls()); }
    DescriptorThread another("test", watched.reader(), bell, calls());
    watched.write('c');
    EXPECT_EQ(told.read(), 'c');
}

}  // namespace
}  // namespace varnolex
