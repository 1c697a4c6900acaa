#include "platform/script/ScriptThread.hpp"

#include <pthread.h>
#include <sched.h>
#include <signal.h>

#include <atomic>
#include <thread>
#include <utility>

#include "platform/ServiceThread.hpp"
#include "platform/concurrency/AwaitedValue.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;

/// How long the thread looks for more work before it sleeps, and its asker for the end before it does. To sleep and be
/// woken on another core takes 13 us where cores are busy and 25 us where they rest, on both sides: 39 us of processor
/// time a message on the machine that this was measured on, against 1 us while both look. So an asker that looks for
/// 40 us sees the end of a short script even of a thread that slept, and the thread pays at most half of what it may
/// save when it waits for 20 us for the next message of a dense stream.
constexpr Nanoseconds lookForWork = 20us;
constexpr Nanoseconds lookForEnd = 40us;

std::atomic<int> leftBehind{0};

/// An engine works with signals of its own, to stop its thread and to look at it. Those that are meant for the program
/// stay the main thread's.
void takeEngineSignals() {
    sigset_t forMain;
    sigemptyset(&forMain);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGCHLD, SIGPIPE, SIGWINCH, SIGTSTP, SIGCONT})
        sigaddset(&forMain, signal);
    pthread_sigmask(SIG_SETMASK, &forMain, nullptr);
}

}  // namespace

/// Shared with the thread, which may outlive everybody else.
struct ScriptThread::State {
    enum class Phase { free, running, paused, closing, givenUp };

    AwaitedValue<Phase> phase{Phase::free};
    Work* work = nullptr;
    /// Before `givenUp` it is whoever gives up that touches it, behind it the thread.
    std::shared_ptr<void> alive;
    std::thread thread;
    /// The cores on which each of both was last.
    std::atomic<int> askersCore{-1};
    std::atomic<int> ownCore{-2};

    /// On one core whoever looks keeps the other from getting there: it sleeps at once.
    Nanoseconds unlessOnOneCore(Nanoseconds look) const {
        return askersCore.load(std::memory_order_relaxed) == ownCore.load(std::memory_order_relaxed) ? 0ns : look;
    }

    static void noteCore(std::atomic<int>& core) { core.store(sched_getcpu(), std::memory_order_relaxed); }

    void serve() {
        const auto isWanted = [](Phase now) { return now != Phase::free; };
        while (phase.wait(unlessOnOneCore(lookForWork), isWanted) == Phase::running) {
            work->run();
            noteCore(ownCore);
            if (!phase.change(Phase::running, Phase::free)) return;
        }
    }
};

ScriptThread::ScriptThread(const std::string& name) : state(std::make_shared<State>()) {
    // Messages wait for it as they do for timers.
    state->thread = startServiceThread(name, true, [kept = state] {
                        takeEngineSignals();
                        kept->serve();
                        if (kept->phase.get() != State::Phase::givenUp) return;
                        // What the script leaves may end slowly too.
                        kept->alive.reset();
                        leftBehind.fetch_sub(1);
                    }).thread;
}

ScriptThread::~ScriptThread() {
    if (wasGivenUp()) return;
    if (state->phase.change(State::Phase::free, State::Phase::closing))
        state->thread.join();
    else
        giveUp(nullptr);
}

void ScriptThread::begin(Work& work) {
    state->work = &work;
    State::noteCore(state->askersCore);
    state->phase.set(State::Phase::running);
}

ScriptThread::Turn ScriptThread::wait(Nanoseconds atMost) {
    const auto isOver = [](State::Phase now) { return now != State::Phase::running; };
    switch (state->phase.wait(state->unlessOnOneCore(lookForEnd), atMost, isOver)) {
        case State::Phase::running:
            return Turn::running;
        case State::Phase::paused:
            return Turn::paused;
        default:
            return Turn::ended;
    }
}

void ScriptThread::resume() { state->phase.set(State::Phase::running); }

void ScriptThread::pause() {
    State::noteCore(state->ownCore);
    if (!state->phase.change(State::Phase::running, State::Phase::paused)) return;
    state->phase.wait(state->unlessOnOneCore(lookForWork),
                      [](State::Phase now) { return now != State::Phase::paused; });
}

void ScriptThread::giveUp(std::shared_ptr<void> alive) {
    leftBehind.fetch_add(1);
    state->alive = std::move(alive);
    // The work may have come to its end in the meantime: then nothing else uses what it was to keep.
    state->phase.set(State::Phase::givenUp);
    state->thread.detach();
}

bool ScriptThread::wasGivenUp() const { return state->phase.get() == State::Phase::givenUp; }

bool ScriptThread::isAnyLeftBehind() { return leftBehind.load() != 0; }

}  // namespace varnolex
