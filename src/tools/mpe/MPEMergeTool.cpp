#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/mpe/MPEChannels.hpp"

// Collapses the member channels of an MPE zone onto one channel. What bends or presses a single note may be left out.
// The master channel and everything outside the zone pass as they are.

namespace varnolex {
namespace {

struct MPEMergeSettings {
    /// Reduced to what every message needs to be asked.
    struct Reduced {
        MPEChannels zone;
        std::uint8_t targetChannel;
        bool preservePitchBend;
        bool preservePressure;
    };

    /// 0 for the lower zone, 1 for the upper one.
    std::int64_t zoneType = 0;
    std::int64_t memberCount = 8;
    /// 0 to 15.
    std::int64_t targetChannel = 0;
    bool preservePitchBend = true;
    bool preservePressure = true;

    Reduced realTime() const {
        return {MPEChannels::of(zoneTypeOf(zoneType), memberCount),
                static_cast<std::uint8_t>(std::clamp<std::int64_t>(targetChannel, 0, 15)), preservePitchBend,
                preservePressure};
    }
};

using namespace parameters;

constexpr std::array table{
    integer<&MPEMergeSettings::zoneType>("zoneType"),
    integer<&MPEMergeSettings::memberCount>("memberCount"),
    integer<&MPEMergeSettings::targetChannel>("targetChannel"),
    toggle<&MPEMergeSettings::preservePitchBend>("preservePitchBend"),
    toggle<&MPEMergeSettings::preservePressure>("preservePressure"),
};

class MPEMergeTool final : public ConfiguredTool<MPEMergeSettings> {
public:
    MPEMergeTool() : ConfiguredTool(mpeMergeDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.length < 2 || message.length > 3 || message.kind() == 0xF0) return chain.forward(message);
        const MPEMergeSettings::Reduced& now = settingsInWalk();
        if (!now.zone.hasMember(message.channel())) return chain.forward(message);
        collapse(message, now, chain);
    }

private:
    static void collapse(const ChainMessage& message, const MPEMergeSettings::Reduced& now, ToolChain& chain) {
        const auto status = static_cast<std::uint8_t>(message.kind() | now.targetChannel);
        if (message.kind() == 0xD0) {
            if (!now.preservePressure) return chain.forward(message.dropped());
            const ShortMessage pressure(status, message.data1());
            return chain.forward(message.carrying(pressure));
        }
        if (message.length != 3 || message.kind() == 0xC0) return chain.forward(message);
        if (message.kind() == 0xE0 && !now.preservePitchBend) return chain.forward(message.dropped());
        const ShortMessage moved(status, message);
        chain.forward(message.carrying(moved));
    }
};

}  // namespace

const ToolDefinition mpeMergeDefinition{PipeToolType::mpeMerge, "MPEMergeConfig", table,
                                        []() -> std::shared_ptr<PipeTool> { return std::make_shared<MPEMergeTool>(); }};

}  // namespace varnolex
