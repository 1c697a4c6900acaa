#include "tools/devices/PanicTool.hpp"

#include <algorithm>
#include <array>

#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Sends "all notes off" and releases the sustain pedal on all channels, in place of the controller that fires it or
// when its button is pressed. Everything else passes.

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array table{
    integer<&PanicSettings::triggerCC>("triggerCC").port("Trigger CC", 0, 127).rides<&PanicLives::triggerCC>(),
    integer<&PanicSettings::triggerValue>("triggerValue")
        .port("Trigger Val", 0, 127)
        .rides<&PanicLives::triggerValue>(),
};

constexpr std::uint8_t allNotesOff = 123;
constexpr std::uint8_t sustain = 64;
constexpr std::uint8_t lastChannel = 15;

/// Gives the messages to `leave`, as one batch.
template <class Leave>
void resetAll(HostTime timeStamp, Leave leave) {
    for (std::uint8_t channel = 0; channel <= lastChannel; ++channel) {
        const ChainMessage place{nullptr, 0, timeStamp, channel == lastChannel};
        const ShortMessage notes = ShortMessage::controller(channel, allNotesOff, 0);
        leave(place.notLast().carrying(notes));
        const ShortMessage pedal = ShortMessage::controller(channel, sustain, 0);
        leave(place.carrying(pedal));
    }
}

}  // namespace

PanicTool::PanicTool() : ConfiguredTool(panicDefinition) {}

void PanicTool::process(const ChainMessage& message, ToolChain& chain) {
    lastChain = &chain;
    lastTimeStamp = message.timeStamp;
    if (message.isController() && isTrigger(message)) [[unlikely]]
        return resetAll(message.timeStamp, [&](const ChainMessage& each) { chain.forward(each); });
    chain.forward(message);
}

bool PanicTool::isTrigger(const ChainMessage& message) const {
    const PanicSettings& now = settingsInWalk();
    const int controller =
        roundedLive(live().triggerCC, static_cast<int>(std::clamp<std::int64_t>(now.triggerCC, -1, 128)));
    return controller >= 0 && message.data1() == controller &&
           message.data2() >= clampedLive(0, 127, live().triggerValue, now.triggerValue);
}

/// A chain that no message has passed yet may have tools that aren't ready for any: it is left by the shortest way.
void PanicTool::panic() {
    const auto owner = chain();
    if (!owner) return;
    owner->enter([&] {
        const bool isKnown = lastChain == owner.get();
        resetAll(lastTimeStamp,
                 [&](const ChainMessage& each) { isKnown ? owner->forward(each) : owner->sendToExit(each); });
    });
}

const ToolDefinition panicDefinition{PipeToolType::panic, "PanicConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<PanicTool>(); }};

}  // namespace varnolex
