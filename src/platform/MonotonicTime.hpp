#pragma once

#include "platform/HostTime.hpp"

namespace varnolex {

/// The system's monotonic clock in ticks, also where a virtual runtime is installed. For the platform subsystem:
/// everybody else asks the runtime. Any thread.
HostTime monotonicTime();

}  // namespace varnolex
