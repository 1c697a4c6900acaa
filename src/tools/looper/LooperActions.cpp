#include <algorithm>

#include "tools/looper/LooperWalk.hpp"

// The transport and the edits of a finished loop.

namespace varnolex {

void LooperTool::requestAction(LooperAction action) {
    command([&](Outlet outlet) { requestInWalk(action, outlet); });
}

void LooperTool::undo() {
    inWalkOf(*this, [this] {
        if (history.undo()) updateEventCount();
    });
}

void LooperTool::redo() {
    inWalkOf(*this, [this] {
        if (history.redo()) updateEventCount();
    });
}

void LooperTool::doubleLoop() {
    inWalkOf(*this, [this] {
        LoopBuffer& loop = history.loop();
        const std::uint32_t length = loop.lengthInTicks;
        const auto fits = [](const auto& list) { return 2 * list.size() <= list.capacity; };
        if (length == 0 || length > longestLoop / 2 || !fits(loop.events) || !fits(loop.rawEvents)) return;
        const auto repeat = [length](auto& list) {
            for (std::size_t count = list.size(), index = 0; index < count; ++index) {
                auto copy = list[index];
                copy.tick += length;
                static_cast<void>(list.append(copy));
            }
        };
        repeat(loop.events);
        repeat(loop.rawEvents);
        loop.lengthInTicks = 2 * length;
        shown.totalBars = std::max<std::uint32_t>(1, loop.lengthInTicks / ticksPerBar);
        tellMain();
    });
}

void LooperTool::halveLoop() {
    command([this](Outlet outlet) {
        flush(outlet);
        LoopBuffer& loop = history.loop();
        if (loop.lengthInTicks <= ticksPerBeat) return;
        loop.lengthInTicks /= 2;
        const auto isBehind = [&](const auto& event) { return event.tick >= loop.lengthInTicks; };
        const auto cut = [&](auto& list) {
            const auto end = std::remove_if(list.begin(), list.end(), isBehind);
            list.shrink(static_cast<std::size_t>(end - list.begin()));
        };
        cut(loop.events);
        cut(loop.rawEvents);
        updateEventCount();
    });
}

void LooperTool::requestInWalk(LooperAction action, Outlet outlet) {
    const bool runs = state.transport == LooperTransport::recording || state.transport == LooperTransport::playing ||
                      state.transport == LooperTransport::overdubbing;
    if (runs && action != LooperAction::clear && settingsInWalk().launchQuantize >= 1)
        state.pendingAction = action;
    else
        performAction(action, outlet);
}

void LooperTool::performAction(LooperAction action, Outlet outlet) {
    switch (action) {
        case LooperAction::record:
            startRecording();
            break;
        case LooperAction::play:
            play();
            break;
        case LooperAction::overdub:
            if (state.transport == LooperTransport::playing || state.transport == LooperTransport::stopped)
                beginOverdub();
            break;
        case LooperAction::stop:
            stopAction(outlet);
            break;
        case LooperAction::clear:
            clear(outlet);
            break;
    }
    tellMain();
}

void LooperTool::startRecording() {
    if (state.transport != LooperTransport::empty && state.transport != LooperTransport::stopped) return;
    state.currentTick = 0;
    state.pendingRecordNotes.clear();
    history.loop().clear();
    showFromStart();
    const std::int32_t bars = settingsInWalk().preCountBars;
    state.preCountTicksRemaining = bars < 1 ? 0 : static_cast<std::uint64_t>(bars) * ticksPerBar;
    state.transport = bars < 1 ? LooperTransport::recording : LooperTransport::counting;
}

void LooperTool::play() {
    if (state.transport == LooperTransport::stopped) {
        state.currentTick = 0;
        showFromStart();
    } else if (!finishPass()) {
        return;
    }
    state.transport = LooperTransport::playing;
}

void LooperTool::beginOverdub() {
    history.keepForUndo();
    state.overdubStartEventCount = history.loop().events.size();
    state.overdubStartRawEventCount = history.loop().rawEvents.size();
    if (state.transport == LooperTransport::stopped) state.currentTick = 0;
    state.transport = LooperTransport::overdubbing;
}

void LooperTool::stopAction(Outlet outlet) {
    if (state.transport == LooperTransport::counting)
        state.preCountTicksRemaining = 0;
    else if (finishPass() || state.transport == LooperTransport::playing)
        flush(outlet);
    else
        return;
    state.transport = LooperTransport::stopped;
}

void LooperTool::clear(Outlet outlet) {
    const LooperTransport before = state.transport;
    if (before == LooperTransport::recording || before == LooperTransport::playing ||
        before == LooperTransport::overdubbing)
        flush(outlet);
    const bool keepsPass = before == LooperTransport::overdubbing;
    const std::uint32_t keptLength = keepsPass ? history.loop().lengthInTicks : 0;
    history.loop().clear();
    history.loop().lengthInTicks = keptLength;
    history.forgetSteps();
    state.pendingRecordNotes.clear();
    state.overdubStartEventCount = state.overdubStartRawEventCount = 0;
    shown.eventCount = 0;
    if (keepsPass) return;
    state.preCountTicksRemaining = 0;
    if (before != LooperTransport::counting) state.currentTick = 0;
    state.transport = LooperTransport::empty;
}

std::uint32_t LooperTool::lengthOfRecording(const LooperSnapshot& now) const {
    if (now.recordLengthBars < 1) return autoLength(state.currentTick);
    return static_cast<std::uint32_t>(now.recordLengthBars) * ticksPerBar;
}

/// Ends what is being recorded; false when nothing is. The transport is left to the caller.
bool LooperTool::finishPass() {
    if (state.transport == LooperTransport::recording)
        finishRecording(lengthOfRecording(snapshotNow()));
    else if (state.transport == LooperTransport::overdubbing)
        finishOverdub();
    else
        return false;
    return true;
}

/// The transport is left to the caller.
void LooperTool::finishRecording(std::uint32_t length) {
    lost.add(closeRecording(history.loop(), state.pendingRecordNotes, length));
    state.currentTick = 0;
    updateEventCount();
}

void LooperTool::finishOverdub() {
    decayLayers(history.loop(), snapshotNow().feedback, state.overdubStartEventCount, state.overdubStartRawEventCount);
    updateEventCount();
}

void LooperTool::comeToRest(LooperTransport transport) {
    state.transport = transport;
    state.pendingAction.reset();
    state.pendingReverse.reset();
    state.pendingRecordNotes.clear();
    state.preCountTicksRemaining = 0;
    tellMain();
}

}  // namespace varnolex
