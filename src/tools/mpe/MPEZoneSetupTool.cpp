#include "tools/mpe/MPEZoneSetupTool.hpp"

#include <array>

#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/mpe/MPEChannels.hpp"

// Passes everything, and tells what comes behind it of an MPE zone when the user asks for it.

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array table{
    integer<&MPEZoneSetupSettings::zoneType>("zoneType"),
    integer<&MPEZoneSetupSettings::memberCount>("memberCount"),
    integer<&MPEZoneSetupSettings::bendRange>("bendRange"),
};

}  // namespace

MPEZoneSetupTool::MPEZoneSetupTool() : ConfiguredTool(mpeZoneSetupDefinition) {}

void MPEZoneSetupTool::process(const ChainMessage& message, ToolChain& chain) {
    hasSeenMessage = true;
    lastTimeStamp = message.timeStamp;
    chain.forward(message);
}

void MPEZoneSetupTool::sendConfigNow() {
    const auto owner = chain();
    if (!owner) return;
    const auto zone = MPEChannels::of(zoneTypeOf(settings().zoneType), settings().memberCount);
    const auto changes = registeredParameter(zone.master, zoneSizeParameter, settings().memberCount);
    owner->enter([&] {
        if (!hasSeenMessage) return;
        const HostTime timeStamp = lastTimeStamp;
        for (const ShortMessage& change : changes) {
            const ChainMessage place{nullptr, 0, timeStamp, &change == &changes.back()};
            owner->forward(place.carrying(change));
        }
    });
}

const ToolDefinition mpeZoneSetupDefinition{
    PipeToolType::mpeZoneSetup, "MPEZoneSetupConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<MPEZoneSetupTool>(); }};

}  // namespace varnolex
