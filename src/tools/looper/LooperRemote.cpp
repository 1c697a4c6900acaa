#include <algorithm>

#include "tools/looper/LooperWalk.hpp"

// The remote control: controllers as buttons, as knobs, and one of them as a footswitch that does it all.

namespace varnolex {
namespace {

constexpr HostTime longPress = 2 * ticksPerSecond;
constexpr HostTime doubleTapWindow = 300 * (ticksPerSecond / 1000);

/// The middle position of a knob is no transposition.
double semitonesOf(std::uint8_t value) { return std::clamp<int>(value, 40, 88) - 64; }

double percentOf(std::uint8_t value) { return value * 100.0 / 127.0; }

}  // namespace

bool LooperTool::isRemote(std::uint8_t number) const {
    if (number >= 128) return false;
    const auto numbers = number < 64 ? &LooperSnapshot::remoteNumbers : &LooperSnapshot::highRemoteNumbers;
    return (settingsInWalk().*numbers >> (number % 64) & 1) != 0;
}

void LooperTool::handleRemoteCC(const ChainMessage& message, ToolChain& chain) {
    const ControllerHistory::Turn turn = lastCC.take(message);
    if (!isRemote(message.data1())) return;
    const Outlet outlet{&chain, Runtime::current().hostTime()};
    const RemoteMapping remote = settingsInWalk().remote;
    const std::uint8_t number = message.data1();
    if (remote.hasTrigger && number == remote.triggerCC) return handleTrigger(remote, turn, outlet);
    if (number == 0) return;
    pressButtons(remote, number, turn, outlet);
    ride(remote, number, turn.value);
}

/// The slots don't exclude each other: a number that is mapped twice does both.
void LooperTool::pressButtons(const RemoteMapping& remote, std::uint8_t number, ControllerHistory::Turn turn,
                              Outlet outlet) {
    for (std::size_t slot = 0; slot < remoteButtonCount; ++slot)
        if (remote.numbers[slot] == number && turn.fires(remote.toggles[slot]))
            pressButton(static_cast<RemoteSlot>(slot), outlet);
}

void LooperTool::pressButton(RemoteSlot slot, Outlet outlet) {
    switch (slot) {
        case RemoteSlot::record:
            if (state.transport != LooperTransport::recording) return requestInWalk(LooperAction::record, outlet);
            requestInWalk(LooperAction::play, outlet);
            if (settingsInWalk().postRecordAction == 1) requestInWalk(LooperAction::overdub, outlet);
            return;
        case RemoteSlot::play:
            return requestInWalk(LooperAction::play, outlet);
        case RemoteSlot::overdub:
            return requestInWalk(LooperAction::overdub, outlet);
        case RemoteSlot::stop:
            return requestInWalk(LooperAction::stop, outlet);
        case RemoteSlot::clear:
            return requestInWalk(LooperAction::clear, outlet);
        case RemoteSlot::undo:
            return undo();
        case RemoteSlot::redo:
            return redo();
        default:
            return;
    }
}

void LooperTool::ride(const RemoteMapping& remote, std::uint8_t number, std::uint8_t value) {
    const auto isMapped = [&](RemoteSlot slot) { return remote.numbers[static_cast<std::size_t>(slot)] == number; };
    if (isMapped(RemoteSlot::swing)) setLiveValue(percentOf(value), "swing");
    if (isMapped(RemoteSlot::probability)) setLiveValue(percentOf(value), "probability");
    if (isMapped(RemoteSlot::feedback)) setLiveValue(percentOf(value), "feedback");
    if (isMapped(RemoteSlot::transpose)) setLiveValue(semitonesOf(value), "transpose");
}

/// A switch that latches tells its presses but not its releases, so each of its changes is a tap.
void LooperTool::handleTrigger(const RemoteMapping& remote, ControllerHistory::Turn turn, Outlet outlet) {
    if (remote.triggerCCToggle ? turn.changes() : turn.goesDown()) {
        state.triggerDownTime = outlet.timeStamp;
        if (remote.triggerCCToggle) handleTriggerRelease(outlet);
    } else if (!remote.triggerCCToggle && turn.goesUp()) {
        handleTriggerRelease(outlet);
    }
}

void LooperTool::handleTriggerRelease(Outlet outlet) {
    const HostTime pressed = std::exchange(state.triggerDownTime, 0);
    if (pressed == 0) return;
    if (outlet.timeStamp - pressed < longPress) return tap(outlet);
    if (state.transport == LooperTransport::stopped) requestInWalk(LooperAction::clear, outlet);
    if (state.transport == LooperTransport::playing) stepBackOrForth();
}

void LooperTool::stepBackOrForth() { history.canUndo() ? undo() : redo(); }

void LooperTool::tap(Outlet outlet) {
    const HostTime now = outlet.timeStamp;
    const HostTime former = std::exchange(state.lastTriggerTime, now);
    if (now > former && now - former < doubleTapWindow) return requestInWalk(LooperAction::stop, outlet);
    switch (state.transport) {
        case LooperTransport::empty:
            return requestInWalk(LooperAction::record, outlet);
        case LooperTransport::playing:
            return requestInWalk(LooperAction::overdub, outlet);
        case LooperTransport::counting:
            return requestInWalk(LooperAction::stop, outlet);
        case LooperTransport::recording:
        case LooperTransport::overdubbing:
        case LooperTransport::stopped:
            return requestInWalk(LooperAction::play, outlet);
    }
}

}  // namespace varnolex
