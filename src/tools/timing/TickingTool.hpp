#pragma once

#include <memory>
#include <string>
#include <utility>

#include "engine/ConfiguredTool.hpp"
#include "tools/timing/WalkTimer.hpp"

namespace varnolex {

/// The part of a tool that owns a repeating timer: from when its chain is wired until it stops, while it is switched on
/// and `wantsTicks`, the tool has a `tick` every period. Ticks run inside walks of the chain, as does all that touches
/// the timer. Deadlines are absolute, so lateness doesn't add up, and nothing allocates in steady state.
template <class Settings, class Lives = NoLiveValues>
class TickingTool : public ConfiguredTool<Settings, Lives> {
public:
    // Comes at every rebuild of the graph: ticks that run go on as they are.
    void chainWasWired(std::uint8_t) final {
        inWalkOf(*this, [this] {
            isWired = true;
            updateTicks();
        });
    }

    void stop() final {
        inWalkOf(*this, [this] {
            isWired = false;
            timer.reset();
        });
    }

protected:
    /// The first tick comes `lead` behind the start.
    TickingTool(const ToolDefinition& definition, std::string queueLabel, Nanoseconds tickPeriod, Nanoseconds lead)
        : ConfiguredTool<Settings, Lives>(definition),
          queue(Runtime::current().makeQueue(std::move(queueLabel), QueuePriority::timing)),
          period(tickPeriod),
          firstDelay(lead) {}

    virtual bool wantsTicks() const = 0;
    virtual void tick(ToolChain& chain) = 0;

    void enabledDidChange(bool) final {
        inWalkOf(*this, [this] { updateTicks(); });
    }

    bool isTicking() const { return static_cast<bool>(timer); }

    /// For whoever has a message in hand: what has brought it here serves as a chain. Kept out of the way of messages
    /// that only pass.
    [[gnu::noinline]] void startTicks() {
        isWired = true;
        updateTicks();
    }

    /// Starts or ends the ticks when what they depend on may have changed.
    void updateTicks() {
        if (!this->isEnabled() || !wantsTicks())
            timer.reset();
        else if (isWired && !timer)
            timer = queue->repeating(Runtime::current().hostTime() + static_cast<HostTime>(firstDelay.count()), period,
                                     [self = this->weak_from_this()] {
                                         if (const auto tool = self.lock()) static_cast<TickingTool&>(*tool).takeTurn();
                                     });
    }

private:
    void takeTurn() {
        const auto chain = this->chain();
        if (!chain) return;
        chain->enter([&] {
            if (!timer) return;
            if (this->isEnabled() && wantsTicks()) tick(*chain);
            updateTicks();
        });
    }

    const std::shared_ptr<Queue> queue;
    const Nanoseconds period;
    const Nanoseconds firstDelay;

    // Touched inside walks only.
    RepeatingTimer timer;
    bool isWired = false;
};

}  // namespace varnolex
