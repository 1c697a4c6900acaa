#pragma once

#include <cstdint>

#include "engine/ConfiguredTool.hpp"

namespace varnolex {

struct PanicSettings {
    /// The controller that fires; below 0 none does.
    std::int64_t triggerCC = 0;
    /// The least value that fires.
    std::int64_t triggerValue = 0;

    static PanicSettings fresh() { return {-1, 64}; }
};

struct PanicLives {
    LiveValue triggerCC;
    LiveValue triggerValue;
};

/// Ends all notes on all channels: at the press of its button, or when a controller says so.
class PanicTool final : public ConfiguredTool<PanicSettings, PanicLives> {
public:
    PanicTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    /// The panel's button. Main thread.
    void panic();

private:
    bool isTrigger(const ChainMessage& message) const;

    // Touched inside walks only.
    const ToolChain* lastChain = nullptr;
    HostTime lastTimeStamp = 0;
};

}  // namespace varnolex
