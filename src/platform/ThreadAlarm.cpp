#include "platform/ThreadAlarm.hpp"

#include <time.h>

#include <algorithm>
#include <cerrno>

#include "platform/MonotonicTime.hpp"

namespace varnolex {

void ThreadAlarm::wait(HostTime time) noexcept {
    if (time == never) {
        sem_wait(&rings);
        return;
    }
    const HostTime wake = time - lead;
    if (monotonicTime() < wake) {
        if (sleepUntil(wake)) return;
        learn(monotonicTime() - wake);
    }
    while (monotonicTime() < time && sem_trywait(&rings) != 0) {
    }
}

bool ThreadAlarm::sleepUntil(HostTime time) noexcept {
    const timespec end{static_cast<time_t>(time / ticksPerSecond), static_cast<long>(time % ticksPerSecond)};
    return sem_clockwait(&rings, CLOCK_MONOTONIC, &end) == 0 || errno != ETIMEDOUT;
}

/// Half a dozen wake-ups decide; one that was very late counts as late alone.
void ThreadAlarm::learn(HostTime lateness) noexcept {
    constexpr HostTime share = 8;
    if (isPunctual) lead = (lead * (share - 1) + std::min(lateness, longestLead)) / share;
}

}  // namespace varnolex
