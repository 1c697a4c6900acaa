#pragma once

#include <memory>

#include "platform/Runtime.hpp"

namespace varnolex {

/// The runtime of a live session: the monotonic clock, serial queues over an event loop, absolute timers, timing
/// threads with real-time priority where the system grants it. The thread that makes it is the main thread, whose
/// queue runs inside `runMain`.
class RealRuntime final : public Runtime {
public:
    RealRuntime();
    ~RealRuntime() override;

    HostTime hostTime() const override;
    std::int64_t calendarSeconds() const override;
    bool isSimulated() const override { return false; }
    Queue& mainQueue() override;
    bool isMainThread() const override;
    std::shared_ptr<Queue> makeQueue(std::string label, QueuePriority priority) override;
    bool postToMain(Task task) override;
    std::uint64_t lostMainTasks() const override;
    std::uint64_t randomBits() override;
    UUID makeUUID() override;

    /// Runs the main queue on the calling (main) thread until `stopMain`. May be called again afterwards.
    void runMain();

    /// Ends `runMain` after the task that is running; called before it, makes it return at once. Any thread.
    void stopMain();

    /// Runs what is due on the main queue and returns: for a main thread that another loop owns. From inside a
    /// task of the main queue it does nothing.
    void pollMain();

    /// A file descriptor that becomes readable when the main queue has something to do, for such a loop.
    int mainWakeDescriptor() const;

    /// Whether the timing threads were granted real-time scheduling.
    bool hasRealTimePriority() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

}  // namespace varnolex
