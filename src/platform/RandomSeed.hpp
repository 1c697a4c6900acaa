#pragma once

#include <cstdint>

namespace varnolex {

/// A seed that nobody can tell beforehand, from the operating system. Any thread.
std::uint64_t randomSeed();

}  // namespace varnolex
