#pragma once

#include <semaphore.h>

#include "platform/HostTime.hpp"

namespace varnolex {

/// Lets one thread sleep until a time of the monotonic clock, or until it is rung. What was done before `ring` is seen
/// by the thread behind it.
class ThreadAlarm {
public:
    static constexpr HostTime never = ~HostTime{0};
    static constexpr HostTime longestLead = 100'000;

    ThreadAlarm() { sem_init(&rings, 0, 0); }
    ~ThreadAlarm() { sem_destroy(&rings); }
    ThreadAlarm(const ThreadAlarm&) = delete;
    ThreadAlarm& operator=(const ThreadAlarm&) = delete;

    /// A processor that has gone to rest takes its time to come back. A punctual alarm lets the thread wake by as much
    /// earlier as it was late on average, by `longestLead` at most, and waits for the rest without sleeping. Before the
    /// thread begins.
    void setPunctual(bool isOn) { isPunctual = isOn; }

    /// Any thread.
    void ring() noexcept { sem_post(&rings); }

    /// Waits for a ring or for `time`; at once when either has been. It may also end before, for no reason.
    void wait(HostTime time) noexcept;

private:
    /// True when it was rung, or disturbed.
    bool sleepUntil(HostTime time) noexcept;
    void learn(HostTime lateness) noexcept;

    sem_t rings;
    bool isPunctual = false;
    HostTime lead = 0;
};

}  // namespace varnolex
