#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "platform/RealRuntime.hpp"
#include "platform/VirtualRuntime.hpp"

namespace varnolex {

/// Runs a virtual session until a condition holds: a second of its time at most.
struct VirtualBench {
    std::unique_ptr<VirtualRuntime> runtime = std::make_unique<VirtualRuntime>();

    template <class Condition>
    bool runUntil(Condition condition) {
        for (int step = 0; step < 1000 && !condition(); ++step) runtime->runFor(std::chrono::milliseconds(1));
        return condition();
    }
};

/// Runs the main queue of a real session until a condition holds, which a timer on that queue looks at. Gives up after
/// 20 s, which only a fault reaches.
struct RealBench {
    std::unique_ptr<RealRuntime> runtime = std::make_unique<RealRuntime>();

    template <class Condition>
    bool runUntil(Condition condition) {
        const HostTime start = runtime->hostTime();
        const RepeatingTimer look = runtime->mainQueue().repeating(0, std::chrono::microseconds(200), [&] {
            if (condition() || runtime->hostTime() > start + 20 * ticksPerSecond) runtime->stopMain();
        });
        runtime->runMain();
        return condition();
    }
};

/// What holds in both runtimes alike.
template <class Bench>
class EveryRuntime : public testing::Test {
protected:
    Runtime& runtime() { return *bench.runtime; }

    Bench bench;
    RuntimeScope scope{*bench.runtime};
};

using BothBenches = testing::Types<VirtualBench, RealBench>;

}  // namespace varnolex
