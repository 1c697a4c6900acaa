#pragma once

#include <memory>
#include <string>
#include <utility>

#include "engine/PipeTool.hpp"
#include "engine/ToolChain.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// Runs `work` as a walk of the tool's chain, or as it is when the tool has no chain and so nobody else touches what it
/// remembers. For the main thread.
template <class Work>
void inWalkOf(const PipeTool& tool, Work&& work) {
    if (const auto chain = tool.chain()) return chain->enter(work);
    work();
}

/// A tool's one-shot timer, on a serial queue of its own or one of several on a queue. What it sets off runs inside a
/// walk of the tool's chain, so that it may touch what the tool remembers and forward from there. A member of its tool;
/// the tool is held weakly while the timer runs. Everything but the making happens inside walks, and nothing allocates
/// in steady state.
class WalkTimer {
public:
    WalkTimer(PipeTool& ownerTool, std::string queueLabel)
        : WalkTimer(ownerTool, Runtime::current().makeQueue(std::move(queueLabel), QueuePriority::timing)) {}
    WalkTimer(PipeTool& ownerTool, std::shared_ptr<Queue> sharedQueue)
        : owner(ownerTool), queue(std::move(sharedQueue)) {}
    WalkTimer(const WalkTimer&) = delete;
    WalkTimer& operator=(const WalkTimer&) = delete;

    /// Calls `work(ToolChain&)` at `deadline`, in place of what the timer was started for before.
    template <class Work>
    void start(HostTime deadline, Work work) {
        cancel();
        isOn = true;
        target = deadline;
        item = queue->at(deadline, [tool = owner.weak_from_this(), this, forGeneration = generation, work] {
            const auto living = tool.lock();
            if (!living) return;
            if (const auto chain = living->chain()) chain->enter([&] { fire(forGeneration, work, *chain); });
        });
    }

    /// The same when `delay` has passed.
    template <class Work>
    void startAfter(Nanoseconds delay, Work work) {
        start(Runtime::current().hostTime() + static_cast<HostTime>(delay.count()), std::move(work));
    }

    /// Also stops work that has left the queue and waits for the walk.
    void cancel() {
        if (!std::exchange(isOn, false)) return;
        ++generation;
        item.cancel();
        item = {};
    }

    bool isRunning() const { return isOn; }
    HostTime deadline() const { return target; }

private:
    template <class Work>
    void fire(std::uint64_t forGeneration, Work& work, ToolChain& chain) {
        if (forGeneration != generation) return;
        isOn = false;
        work(chain);
    }

    PipeTool& owner;
    const std::shared_ptr<Queue> queue;
    WorkItem item;
    HostTime target = 0;
    std::uint64_t generation = 0;
    bool isOn = false;
};

}  // namespace varnolex
