#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/MonotonicTime.hpp"

namespace varnolex {

/// A value over which two threads hand the turn to each other, and whatever else they share with it. Who waits looks at
/// the value for a short time before it sleeps: as long as both are quick, neither needs the kernel.
///
/// For small values such as enumerations. One thread at a time may set it; one that waits and one that sets is the use
/// it is made for, more are possible.
template <class Value>
class AwaitedValue {
public:
    explicit AwaitedValue(Value initial) : held(initial) {}
    AwaitedValue(const AwaitedValue&) = delete;
    AwaitedValue& operator=(const AwaitedValue&) = delete;

    Value get() const noexcept { return held.load(); }

    void set(Value value) noexcept {
        held.store(value);
        wakeSleepers();
    }

    /// As one step: sets it if it is `from`.
    bool change(Value from, Value to) noexcept {
        if (!held.compare_exchange_strong(from, to)) return false;
        wakeSleepers();
        return true;
    }

    /// Waits until `isReached(value)`, looking for as long as `look`, and asleep from then on; at most `atMost` in all
    /// that sleep. The last value that it has seen. On a machine of one core it sleeps at once: the other thread could
    /// do nothing meanwhile.
    template <class Condition>
    Value wait(Nanoseconds look, Nanoseconds atMost, Condition&& isReached) {
        if (lookFor(std::min(look, atMost), isReached) || atMost <= Nanoseconds::zero()) return get();
        std::unique_lock hold(mutex);
        ++sleepers;
        changed.wait_for(hold, atMost, [&] { return isReached(get()); });
        --sleepers;
        return get();
    }

    /// The same without an end.
    template <class Condition>
    Value wait(Nanoseconds look, Condition&& isReached) {
        if (lookFor(look, isReached)) return get();
        std::unique_lock hold(mutex);
        ++sleepers;
        changed.wait(hold, [&] { return isReached(get()); });
        --sleepers;
        return get();
    }

private:
    template <class Condition>
    bool lookFor(Nanoseconds look, Condition& isReached) {
        static const bool hasSeveralCores = std::thread::hardware_concurrency() > 1;
        if (isReached(get())) return true;
        if (!hasSeveralCores || look <= Nanoseconds::zero()) return false;
        const HostTime start = monotonicTime();
        do {
            for (int times = 0; times < looksBetweenTimes; ++times) {
                restCore();
                if (isReached(get())) return true;
            }
        } while (monotonicTime() - start < static_cast<HostTime>(look.count()));
        return false;
    }

    static void restCore() noexcept {
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#elif defined(__aarch64__)
        asm volatile("yield");
#endif
    }

    /// A sleeper has counted itself before it looked at the value for the last time: either it saw the new one, or it
    /// is seen here. The lock lets one that is just falling asleep do so first.
    void wakeSleepers() noexcept {
        if (sleepers.load() == 0) return;
        { const std::scoped_lock untilAsleep(mutex); }
        changed.notify_all();
    }

    static constexpr int looksBetweenTimes = 8;

    std::atomic<Value> held;
    std::atomic<int> sleepers{0};
    std::mutex mutex;
    std::condition_variable changed;
};

}  // namespace varnolex
