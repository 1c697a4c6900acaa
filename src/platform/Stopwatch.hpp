#pragma once

#include "platform/HostTime.hpp"

namespace varnolex {

/// Real time since it was made, also where a virtual runtime is installed: for telling a user how long work took.
class Stopwatch {
public:
    Stopwatch();
    Nanoseconds elapsed() const;

private:
    HostTime start;
};

}  // namespace varnolex
