#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "platform/concurrency/AwaitedValue.hpp"
#include "platform/script/ScriptThread.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;
using Turn = ScriptThread::Turn;

struct Job final : ScriptThread::Work {
    explicit Job(std::function<void()> work) : job(std::move(work)) {}
    void run() noexcept override { job(); }
    const std::function<void()> job;
};

void awaitNoneLeftBehind() {
    while (ScriptThread::isAnyLeftBehind()) std::this_thread::yield();
}

TEST(ScriptThread, endsWorkAndGivesTheTurnToAndFro) {
    ScriptThread thread("script-test");
    int steps = 0;
    Job quick([&] { ++steps; });
    Job pausing([&] {
        for (int turn = 0; turn < 3; ++turn, ++steps) thread.pause();
    });
    for (int round = 0; round < 2'000; ++round) {
        steps = 0;
        thread.begin(quick);
        ASSERT_EQ(thread.wait(20s), Turn::ended);
        ASSERT_EQ(steps, 1);
    }
    thread.begin(pausing);
    for (int turn = 0; turn < 3; ++turn) {
        ASSERT_EQ(thread.wait(20s), Turn::paused);
        EXPECT_EQ(steps, 1 + turn);
        thread.resume();
    }
    EXPECT_EQ(thread.wait(20s), Turn::ended);
}

TEST(ScriptThread, keepsWhatItsWorkNeedsWhenItIsGivenUp) {
    enum class How { running, paused, done, dropped };
    for (const How how : {How::running, How::paused, How::done, How::dropped}) {
        AwaitedValue<bool> mayEnd{false};
        const auto kept = std::make_shared<int>();
        auto thread = std::make_unique<ScriptThread>("script-test");
        Job job([&, given = thread.get()] {
            if (how == How::paused) given->pause();
            if (how != How::done) mayEnd.wait(0ns, [](bool now) { return now; });
        });
        thread->begin(job);
        const Turn turn = thread->wait(how == How::done || how == How::paused ? 20s : 1ms);
        EXPECT_EQ(turn, how == How::done ? Turn::ended : how == How::paused ? Turn::paused : Turn::running);
        if (how == How::dropped) {
            thread.reset();
        } else {
            thread->giveUp(kept);
            EXPECT_TRUE(thread->wasGivenUp());
            EXPECT_TRUE(how == How::done || kept.use_count() == 2);
        }
        EXPECT_TRUE(how == How::done || ScriptThread::isAnyLeftBehind());
        mayEnd.set(true);
        awaitNoneLeftBehind();
        EXPECT_EQ(kept.use_count(), 1);
    }
}

}  // namespace
}  // namespace varnolex
