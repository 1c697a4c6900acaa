#include "platform/script/ScriptThread.hpp"

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/ServiceThread.hpp"

namespace varnolex {
namespace {

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
    enum class Phase { free, running, paused, closing };

    std::mutex mutex;
    std::condition_variable changed;
    Phase phase = Phase::free;
    Work* work = nullptr;
    bool isGivenUp = false;
    std::shared_ptr<void> alive;
    std::thread thread;

    void serve() {
        std::unique_lock hold(mutex);
        for (;;) {
            changed.wait(hold, [this] { return phase == Phase::running || phase == Phase::closing; });
            if (phase == Phase::closing) return;
            hold.unlock();
            work->run();
            hold.lock();
            if (isGivenUp) return;
            phase = Phase::free;
            hold.unlock();
            changed.notify_one();
            hold.lock();
        }
    }
};

ScriptThread::ScriptThread(const std::string& name) : state(std::make_shared<State>()) {
    // Messages wait for it as they do for timers.
    state->thread = startServiceThread(name, true, [kept = state] {
                        takeEngineSignals();
                        kept->serve();
                        if (!kept->isGivenUp) return;
                        // What the script leaves may end slowly too.
                        kept->alive.reset();
                        leftBehind.fetch_sub(1);
                    }).thread;
}

ScriptThread::~ScriptThread() {
    bool isFree = false;
    {
        const std::scoped_lock hold(state->mutex);
        if (state->isGivenUp) return;
        isFree = state->phase == State::Phase::free;
        if (isFree) state->phase = State::Phase::closing;
        state->changed.notify_all();
    }
    if (isFree)
        state->thread.join();
    else
        giveUp(nullptr);
}

void ScriptThread::begin(Work& work) {
    {
        const std::scoped_lock hold(state->mutex);
        state->work = &work;
        state->phase = State::Phase::running;
    }
    // Behind the lock, so that the thread doesn't wake up to wait for it.
    state->changed.notify_one();
}

ScriptThread::Turn ScriptThread::wait(Nanoseconds atMost) {
    std::unique_lock hold(state->mutex);
    state->changed.wait_for(hold, atMost, [this] { return state->phase != State::Phase::running; });
    switch (state->phase) {
        case State::Phase::running:
            return Turn::running;
        case State::Phase::paused:
            return Turn::paused;
        default:
            return Turn::ended;
    }
}

void ScriptThread::resume() {
    const std::scoped_lock hold(state->mutex);
    state->phase = State::Phase::running;
    state->changed.notify_all();
}

void ScriptThread::pause() {
    std::unique_lock hold(state->mutex);
    if (state->isGivenUp) return;
    state->phase = State::Phase::paused;
    state->changed.notify_all();
    state->changed.wait(hold, [this] { return state->phase != State::Phase::paused || state->isGivenUp; });
}

void ScriptThread::giveUp(std::shared_ptr<void> alive) {
    {
        const std::scoped_lock hold(state->mutex);
        // It may have come to its end in the meantime: then nothing else uses what it was to keep.
        if (state->phase == State::Phase::free) state->phase = State::Phase::closing;
        leftBehind.fetch_add(1);
        state->isGivenUp = true;
        state->alive = std::move(alive);
        state->changed.notify_all();
    }
    state->thread.detach();
}

bool ScriptThread::wasGivenUp() const {
    const std::scoped_lock hold(state->mutex);
    return state->isGivenUp;
}

bool ScriptThread::isAnyLeftBehind() { return leftBehind.load() != 0; }

}  // namespace varnolex
