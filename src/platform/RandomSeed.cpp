#include "platform/RandomSeed.hpp"

#include <sys/random.h>

#include "platform/MonotonicTime.hpp"

namespace varnolex {

std::uint64_t randomSeed() {
    std::uint64_t seed = 0;
    if (getrandom(&seed, sizeof seed, GRND_NONBLOCK) == sizeof seed) return seed;
    // Early in a machine's start there may be no entropy yet: threads then differ by place and time.
    return monotonicTime() ^ reinterpret_cast<std::uintptr_t>(&seed);
}

}  // namespace varnolex
