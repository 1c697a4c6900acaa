#include "platform/MonotonicTime.hpp"

#include <ctime>

namespace varnolex {

HostTime monotonicTime() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<HostTime>(now.tv_sec) * ticksPerSecond + static_cast<HostTime>(now.tv_nsec);
}

}  // namespace varnolex
