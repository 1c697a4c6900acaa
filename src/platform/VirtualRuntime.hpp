#pragma once

#include <cstdint>
#include <memory>

#include "platform/Runtime.hpp"

namespace varnolex {

/// A single-threaded discrete-event simulation of the runtime. Time stands still while code runs and jumps to the
/// next due item; items of one instant run in the order in which they were scheduled, whatever their queue.
/// Random draws and UUIDs follow the seed. Not for use from several threads.
class VirtualRuntime final : public Runtime {
public:
    /// The host time at which a virtual session begins: not 0, which would read as "unknown".
    static constexpr HostTime epoch = ticksPerSecond;

    explicit VirtualRuntime(std::uint64_t seed = 1);
    ~VirtualRuntime() override;

    HostTime hostTime() const override;
    std::int64_t calendarSeconds() const override;
    bool isSimulated() const override { return true; }
    Queue& mainQueue() override;
    bool isMainThread() const override { return true; }
    std::shared_ptr<Queue> makeQueue(std::string label, QueuePriority priority) override;
    bool postToMain(Task task) override;
    std::uint64_t lostMainTasks() const override;
    std::uint64_t randomBits() override;
    UUID makeUUID() override;

    /// Runs everything that is due up to and including `time`, then sets the clock to it.
    void runUntil(HostTime time);
    void runFor(Nanoseconds duration) { runUntil(hostTime() + static_cast<HostTime>(duration.count())); }

    /// Runs what is due now, without moving the clock.
    void settle() { runUntil(hostTime()); }

    /// Sets the calendar, as a user does; it goes on from there with the clock. A session begins at its second 0.
    void setCalendar(std::int64_t seconds);

    /// How many items are scheduled, repeating timers counted once: lets a test see that nothing was left behind.
    std::size_t pendingItems() const;

private:
    class Simulation;
    class VirtualQueue;
    std::shared_ptr<Simulation> simulation;
};

}  // namespace varnolex
