#include <gtest/gtest.h>

#include <thread>

#include "platform/MonotonicTime.hpp"
#include "platform/ThreadAlarm.hpp"

namespace varnolex {
namespace {

TEST(ThreadAlarmTest, EndsAtItsTimeAndNotBeforeUnlessItIsRung) {
    for (const bool isPunctual : {false, true}) {
        ThreadAlarm alarm;
        alarm.setPunctual(isPunctual);
        for (int round = 0; round < 50; ++round) {
            const HostTime time = monotonicTime() + static_cast<HostTime>(round) * 20'000;
            alarm.wait(time);
            EXPECT_GE(monotonicTime(), time);
        }
        alarm.ring();
        alarm.wait(ThreadAlarm::never);
        std::thread other([&] { alarm.ring(); });
        // Without the ring the test wouldn't come to its end.
        alarm.wait(monotonicTime() + 3600 * ticksPerSecond);
        other.join();
    }
}

}  // namespace
}  // namespace varnolex
