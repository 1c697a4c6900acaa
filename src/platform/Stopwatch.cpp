#include "platform/Stopwatch.hpp"

#include <ctime>

namespace varnolex {
namespace {

HostTime monotonicTime() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<HostTime>(now.tv_sec) * ticksPerSecond + static_cast<HostTime>(now.tv_nsec);
}

}  // namespace

Stopwatch::Stopwatch() : start(monotonicTime()) {}

Nanoseconds Stopwatch::elapsed() const { return Nanoseconds(monotonicTime() - start); }

}  // namespace varnolex
