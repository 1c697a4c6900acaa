#include "platform/ServiceThread.hpp"

#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>

namespace varnolex {

namespace {

/// Above every ordinary thread, below the audio servers, which a MIDI timer mustn't hold up.
constexpr int timingPriority = 5;

bool askForRealTime(pthread_t thread) {
    sched_param parameters{};
    parameters.sched_priority = timingPriority;
    return pthread_setschedparam(thread, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0 ||
           pthread_setschedparam(thread, SCHED_FIFO, &parameters) == 0;
}

}  // namespace

ServiceThread startServiceThread(const std::string& name, bool isTiming, std::function<void()> work) {
    // A new thread inherits the mask of the one that makes it.
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
    ServiceThread started;
    started.thread = std::thread([isTiming, run = std::move(work)] {
        // The kernel may put ordinary wake-ups off by 50 us to gather them.
        if (isTiming) prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
        run();
    });
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    pthread_setname_np(started.thread.native_handle(), name.substr(0, 15).c_str());
    started.isRealTime = isTiming && askForRealTime(started.thread.native_handle());
    return started;
}

}  // namespace varnolex
