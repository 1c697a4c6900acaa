#include "tools/looper/LooperTool.hpp"

#include <algorithm>

#include "tools/ToolDefinitions.hpp"
#include "tools/looper/ClickAudioEngine.hpp"
#include "tools/looper/LooperWalk.hpp"

namespace varnolex {
namespace {

/// No clock is as slow as this: a longer interval is a pause of the clock. Taken for a tempo, it would let the notes
/// that begin behind the pause sound on for minutes.
constexpr HostTime longestInterval = 2 * ticksPerSecond;

}  // namespace

LooperTool::LooperTool() : ConfiguredTool(looperDefinition) {}

void LooperTool::process(const ChainMessage& message, ToolChain& chain) {
    if (message.isController()) return takeController(message, chain);
    if (message.length == 3) return takeChannelMessage(message, chain);
    if (message.isClockTick()) return clockStep(message, chain);
    if (message.length == 1 && message.status() == 0xFA) state.currentTick = 0;
    hand(message, chain);
}

LooperTool::~LooperTool() {
    isInService = false;
    updateClick();
}

void LooperTool::start(std::uint32_t) {
    isInService = true;
    updateClick();
}

void LooperTool::stop() {
    isInService = false;
    updateClick();
    command([this](Outlet outlet) {
        flush(outlet);
        cancelNoteOffs();
        comeToRest(state.transport == LooperTransport::empty ? LooperTransport::empty : LooperTransport::stopped);
    });
}

void LooperTool::enabledDidChange(bool isOn) {
    if (isOn) return;
    command([this](Outlet outlet) {
        flush(outlet);
        cancelNoteOffs();
        comeToRest(LooperTransport::stopped);
    });
}

// Messages

// What is rare stands in functions of its own: the usual message is to pass with nothing to keep for after a call.

[[gnu::noinline]] void LooperTool::takeController(const ChainMessage& message, ToolChain& chain) {
    handleRemoteCC(message, chain);
    takeChannelMessage(message, chain);
}

void LooperTool::takeChannelMessage(const ChainMessage& message, ToolChain& chain) {
    if (isRecording(state.transport)) return record(message, chain);
    // A key that was held when the recording ended must not be taken for one that is pressed in the next.
    if (message.isNoteEnd()) state.pendingRecordNotes.forget(message.noteKey());
    passOn(message, chain);
}

void LooperTool::passOn(const ChainMessage& message, ToolChain& chain) {
    if (!isHeard(state.transport)) return drop(message, chain);
    hand(message, chain);
}

[[gnu::noinline]] void LooperTool::drop(const ChainMessage& message, ToolChain& chain) {
    hand(message.dropped(), chain);
}

[[gnu::noinline]] void LooperTool::record(const ChainMessage& message, ToolChain& chain) {
    const bool isCommand = message.isController() && message.data1() != 0 && isRemote(message.data1());
    if (!isCommand) takeIntoLoop(message);
    passOn(message, chain);
}

void LooperTool::takeIntoLoop(const ChainMessage& message) {
    switch (recordMessage(message, state.currentTick, history.loop(), state.pendingRecordNotes)) {
        case Recorded::note:
            return updateEventCount();
        case Recorded::lost:
            lost.add(1);
            return;
        case Recorded::raw:
        case Recorded::nothing:
            return;
    }
}

bool LooperTool::isHeard(LooperTransport transport) const {
    switch (settingsInWalk().inputMonitor) {
        case 0:
            return true;
        case 2:
            return isRecording(transport);
        case 3:
            return transport != LooperTransport::playing;
        default:
            return false;
    }
}

void LooperTool::hand(const ChainMessage& message, ToolChain& chain) {
    isBatchOpen = !message.isLastInBatch;
    chain.forward(message);
}

// The clock

void LooperTool::clockStep(const ChainMessage& tick, ToolChain& chain) {
    const LooperSnapshot now = snapshotNow();
    const Outlet outlet{&chain, tick.timeStamp};
    const Step step = advanceTick(now, outlet);
    const bool plays = step.transport == LooperTransport::playing || step.transport == LooperTransport::overdubbing;
    if (plays && step.length != 0 && step.hasMoved) playbackStep(now, step, outlet);
    showPosition(now, step, tick.timeStamp);
    if (now.forwardClock) return hand(tick, chain);
    // What has left ahead of the tick mustn't wait for a batch end that was in the tick.
    if (tick.isLastInBatch && isBatchOpen) hand(tick.dropped(), chain);
}

LooperSnapshot LooperTool::snapshotNow() const {
    LooperSnapshot now = current();
    now.transpose = roundedLive(live().transpose, now.transpose);
    now.probability = roundedLive(live().probability, now.probability);
    now.feedback = roundedLive(live().feedback, now.feedback);
    now.swing = roundedLive(live().swing, now.swing);
    now.reverse = state.reverseTaken.value_or(now.reverse);
    return now;
}

LooperTool::Step LooperTool::advanceTick(const LooperSnapshot& now, Outlet outlet) {
    measureInterval();
    launchWhatIsDue(now, outlet);
    const LooperTransport transport = state.transport;
    if (transport == LooperTransport::counting) return countIn();
    if (transport == LooperTransport::empty || transport == LooperTransport::stopped)
        return {transport, state.currentTick, 0, false};

    const std::uint32_t length = history.loop().lengthInTicks;
    const bool hasMoved = move(now.speed);
    if (transport == LooperTransport::recording) {
        if (now.recordLengthBars < 1 || state.currentTick < lengthOfRecording(now))
            return {transport, state.currentTick, length, hasMoved};
        endFixedRecording(now, lengthOfRecording(now));
    }
    if (length != 0 && state.currentTick >= length) {
        state.currentTick %= length;
        showFromStart();
    }
    return {state.transport, state.currentTick, length, hasMoved};
}

void LooperTool::measureInterval() {
    const HostTime now = Runtime::current().hostTime();
    const HostTime interval = now - state.lastTickTime;
    if (state.lastTickTime != 0 && interval <= longestInterval)
        state.tickIntervalNs = state.tickIntervalNs == 0 ? interval : (3 * state.tickIntervalNs + interval) / 4;
    state.lastTickTime = now;
}

void LooperTool::launchWhatIsDue(const LooperSnapshot& now, Outlet outlet) {
    const std::uint32_t grid = now.launchGrid();
    const auto isDue = [&] { return grid == 0 || (state.currentTick != 0 && state.currentTick % grid == 0); };
    if (state.pendingAction && isDue()) performAction(*std::exchange(state.pendingAction, std::nullopt), outlet);
    if (state.pendingReverse && isDue()) {
        state.reverseTaken = std::exchange(state.pendingReverse, std::nullopt);
        tellMain();
    }
}

LooperTool::Step LooperTool::countIn() {
    ++state.currentTick;
    if (state.preCountTicksRemaining > 0) --state.preCountTicksRemaining;
    if (state.preCountTicksRemaining > 0) return {LooperTransport::counting, state.currentTick, 0, true};
    state.currentTick = 0;
    showFromStart();
    state.transport = LooperTransport::recording;
    tellMain();
    return {LooperTransport::recording, 0, 0, true};
}

/// Whether a clock message moves the position: at half speed every second one doesn't, and what was due there has been
/// played.
bool LooperTool::move(std::int32_t speed) {
    if (speed == 0) {
        const bool moves = !state.tickAccumulator;
        state.tickAccumulator = !state.tickAccumulator;
        if (moves) ++state.currentTick;
        return moves;
    }
    state.currentTick += speed == 2 ? 2 : 1;
    return true;
}

void LooperTool::endFixedRecording(const LooperSnapshot& now, std::uint32_t length) {
    finishRecording(length);
    if (now.postRecordAction == 1)
        beginOverdub();
    else
        state.transport = LooperTransport::playing;
    tellMain();
}

void LooperTool::showPosition(const LooperSnapshot& now, const Step& step, HostTime time) {
    const std::int64_t bar = step.tick / ticksPerBar;
    const std::int64_t beat = step.tick % ticksPerBar / ticksPerBeat;
    if (bar == lastDisplayBar && beat == lastDisplayBeat) return;
    lastDisplayBar = bar;
    lastDisplayBeat = beat;
    shown.currentBar = static_cast<std::uint32_t>(bar);
    shown.currentBeat = static_cast<std::uint32_t>(beat);
    shown.totalBars = std::max<std::uint32_t>(1, step.length / ticksPerBar);
    tellMain();
    clickIfDue(now, step, time);
}

// The click

void LooperTool::clickIfDue(const LooperSnapshot& now, const Step& step, HostTime time) const {
    const bool runs = step.transport == LooperTransport::recording || step.transport == LooperTransport::playing ||
                      step.transport == LooperTransport::overdubbing;
    if (step.transport != LooperTransport::counting && !(now.metronome && runs)) return;
    if (ClickAudioEngine* const engine = ClickAudioEngine::shared())
        engine->click(step.tick % ticksPerBar < ticksPerBeat, time);
}

/// Whoever may click, also to count in, has the device opened ahead, so that the first click is in time.
void LooperTool::updateClick() {
    ClickAudioEngine* const engine = ClickAudioEngine::shared();
    const bool wants = isInService && (settings().metronome || settings().preCountBars >= 1);
    if (!engine || wants == mayClick) return;
    mayClick = wants;
    if (!wants) return engine->stop();
    engine->setVolume(settings().metronomeVolume);
    engine->selectDevice(settings().metronomeDeviceUID);
    engine->start();
}

// Settings

void LooperTool::settingsDidChange(const LooperSettings& before) {
    const LooperSettings& now = settings();
    const auto clearIfUnmapped = [&](std::uint8_t LooperSettings::*number, std::string_view key) {
        if (before.*number != 0 && now.*number == 0) setLiveValue(std::nullopt, key);
    };
    clearIfUnmapped(&LooperSettings::swingCC, "swing");
    clearIfUnmapped(&LooperSettings::probabilityCC, "probability");
    clearIfUnmapped(&LooperSettings::feedbackCC, "feedback");
    clearIfUnmapped(&LooperSettings::transposeCC, "transpose");
    updateClick();
    if (ClickAudioEngine* const engine = ClickAudioEngine::shared()) {
        if (before.metronomeVolume != now.metronomeVolume) engine->setVolume(now.metronomeVolume);
        if (before.metronomeDeviceUID != now.metronomeDeviceUID) engine->selectDevice(now.metronomeDeviceUID);
    }
    if (before.reverse != now.reverse && !reverseDeferred) deferReverse(before.reverse);
}

/// While a launch grid is set and the loop plays, its direction turns at the next line and the setting with it.
void LooperTool::deferReverse(bool before) {
    bool isDeferred = false;
    inWalkOf(*this, [&] {
        const bool plays =
            state.transport == LooperTransport::playing || state.transport == LooperTransport::overdubbing;
        isDeferred = settings().launchQuantize >= 1 && plays;
        if (isDeferred) state.pendingReverse = settings().reverse;
        if (!isDeferred) state.reverseTaken.reset();
    });
    if (isDeferred) adoptReverse(before);
}

void LooperTool::adoptReverse(bool reverse) {
    reverseDeferred = true;
    change([&](LooperSettings& next) { next.reverse = reverse; });
    reverseDeferred = false;
}

// What is shown

void LooperTool::updateEventCount() {
    const LoopBuffer& loop = history.loop();
    shown.eventCount = loop.events.size() + loop.rawEvents.size();
    shown.totalBars = loop.lengthInTicks == 0 ? 0 : std::max<std::uint32_t>(1, loop.lengthInTicks / ticksPerBar);
    tellMain();
}

void LooperTool::tellMain() { toMain.ask(); }

void LooperTool::showOnMain() {
    std::optional<bool> turned;
    inWalkOf(*this, [&] {
        shown.transport = state.transport;
        shown.canUndo = history.canUndo();
        shown.canRedo = history.canRedo();
        shownOnMain = shown;
        turned = state.reverseTaken;
    });
    if (!turned) return;
    adoptReverse(*turned);
    inWalkOf(*this, [&] {
        if (state.reverseTaken == turned) state.reverseTaken.reset();
    });
}

const ToolDefinition looperDefinition{PipeToolType::looper, "LooperConfig", looperParameters(),
                                      []() -> std::shared_ptr<PipeTool> { return std::make_shared<LooperTool>(); }};

}  // namespace varnolex
