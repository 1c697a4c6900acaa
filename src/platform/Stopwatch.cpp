#include "platform/Stopwatch.hpp"

#include "platform/MonotonicTime.hpp"

namespace varnolex {

Stopwatch::Stopwatch() : start(monotonicTime()) {}

Nanoseconds Stopwatch::elapsed() const { return Nanoseconds(monotonicTime() - start); }

}  // namespace varnolex
