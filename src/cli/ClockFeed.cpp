#include "cli/ClockFeed.hpp"

#include <cmath>

namespace varnolex {

std::uint64_t ClockFeed::nextTime() const {
    if (!tempoMap) return static_cast<std::uint64_t>(std::llround(static_cast<double>(tick) * nanosecondsPerTick));
    // A clock may fall between two ticks of the file when their number isn't divisible by 24.
    const std::uint64_t position = tick * division;
    const std::uint64_t before = tempoMap->nanoseconds(position / 24);
    const std::uint64_t rest = position % 24;
    if (rest == 0) return before;
    const std::uint64_t after = tempoMap->nanoseconds(position / 24 + 1);
    return before + ((after - before) * rest + 12) / 24;
}

}  // namespace varnolex
