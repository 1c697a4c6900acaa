#pragma once

#include "core/MPEZone.hpp"
#include "engine/ConfiguredTool.hpp"

namespace varnolex {

struct MPEZoneSetupSettings {
    /// 0 for the lower zone, 1 for the upper one.
    std::int64_t zoneType = 0;
    std::int64_t memberCount = 8;
    /// Semitones; shown, and not part of what is sent.
    std::int64_t bendRange = MPEZone::defaultBendRange;
};

/// Passes everything, and sends the configuration of an MPE zone when it is told to.
class MPEZoneSetupTool final : public ConfiguredTool<MPEZoneSetupSettings> {
public:
    MPEZoneSetupTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    /// Sends the configuration on the zone's master channel, with the time stamp of the latest message that has passed.
    /// Does nothing before the first one, or without a chain. Main thread.
    void sendConfigNow();

private:
    // Touched inside walks only.
    bool hasSeenMessage = false;
    HostTime lastTimeStamp = 0;
};

}  // namespace varnolex
