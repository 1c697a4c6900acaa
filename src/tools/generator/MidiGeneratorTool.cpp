#include "tools/generator/MidiGeneratorTool.hpp"

#include <algorithm>
#include <array>
#include <filesystem>

#include "engine/ListParameters.hpp"
#include "platform/WholeFile.hpp"
#include "tools/ToolDefinitions.hpp"

// Plays messages by itself: steps built by hand, the first track of a MIDI file, or the messages of a SysEx dump, once
// or again and again. A button, a note or a controller starts and stops it. Messages pass it unchanged.
//
// All that runs lives under the walk's lock: whoever starts or stops enters the chain, and what was scheduled before
// finds another generation and does nothing.

namespace varnolex {

namespace {

using namespace parameters;

constexpr std::array stepTable{
    byteList<&GeneratorStep::bytes>("bytes"),
    optionalInteger<&GeneratorStep::delayMsOverride>("delayMsOverride"),
    optionalInteger<&GeneratorStep::randomizeByteIndex>("randomizeByteIndex"),
    limitedByte<&GeneratorStep::randomizeMin>("randomizeMin"),
    limitedByte<&GeneratorStep::randomizeMax>("randomizeMax"),
    optionalInteger<&GeneratorStep::noteDurationMs>("noteDurationMs"),
};

constexpr std::array table{
    integer<&MidiGeneratorSettings::sourceMode>("sourceMode"),
    records<&MidiGeneratorSettings::steps, stepTable>("steps"),
    text<&MidiGeneratorSettings::filePath>("filePath"),
    integer<&MidiGeneratorSettings::repeatMode>("repeatMode"),
    integer<&MidiGeneratorSettings::repeatCount>("repeatCount"),
    integer<&MidiGeneratorSettings::delayMs>("delayMs"),
    toggle<&MidiGeneratorSettings::randomDelay>("randomDelay"),
    integer<&MidiGeneratorSettings::randomDelayMin>("randomDelayMin"),
    integer<&MidiGeneratorSettings::randomDelayMax>("randomDelayMax"),
    integer<&MidiGeneratorSettings::humanizeMs>("humanizeMs"),
    integer<&MidiGeneratorSettings::triggerMode>("triggerMode"),
    limitedByte<&MidiGeneratorSettings::triggerNote>("triggerNote"),
    limitedByte<&MidiGeneratorSettings::triggerCC>("triggerCC"),
    limitedByte<&MidiGeneratorSettings::triggerThreshold>("triggerThreshold"),
    toggle<&MidiGeneratorSettings::injectFromTop>("injectFromTop"),
    toggle<&MidiGeneratorSettings::panicOnStop>("panicOnStop"),
};

constexpr std::size_t largestFile = 64 << 20;
constexpr std::uint8_t allNotesOff = 123;

/// What a pass that took no time at all is followed by, so that one that repeats without end leaves time to others.
constexpr Nanoseconds shortestPass = std::chrono::milliseconds(1);

/// Behind a standstill of more than this the music goes on from now, instead of being played at once.
constexpr HostTime longestLateness = ticksPerSecond;

GeneratorTrigger::Mode triggerModeOf(std::int64_t number) {
    if (number == 1) return GeneratorTrigger::Mode::noteOn;
    return number == 2 ? GeneratorTrigger::Mode::controller : GeneratorTrigger::Mode::manual;
}

GeneratorEvents eventsOfFile(const std::string& path, std::int64_t sourceMode) {
    std::error_code code;
    // Nothing that a read could wait for, such as a pipe.
    if (path.empty() || !std::filesystem::is_regular_file(path, code)) return {};
    try {
        const std::string contents = readWholeFile(path, largestFile);
        return sourceMode == MidiGeneratorSettings::midiFile ? GeneratorEvents::ofMIDIFile(contents)
                                                             : GeneratorEvents::ofSysExFile(contents);
    } catch (const FileError&) {
        return {};
    }
}

}  // namespace

GeneratorRules MidiGeneratorSettings::realTime() const {
    return {.trigger = {triggerModeOf(triggerMode), triggerNote, triggerCC, triggerThreshold},
            .repeatsForEver = repeatMode != once && repeatMode != counted,
            .randomDelay = randomDelay,
            .injectFromTop = injectFromTop,
            .panicOnStop = panicOnStop,
            .playsMIDIFile = sourceMode == midiFile,
            .passes = repeatMode == once ? 1 : repeatCount,
            .delayMs = delayMs,
            .randomDelayMin = randomDelayMin,
            .randomDelayMax = randomDelayMax,
            .humanizeMs = humanizeMs};
}

MidiGeneratorTool::MidiGeneratorTool()
    : ConfiguredTool(midiGeneratorDefinition),
      generatorQueue(Runtime::current().makeQueue("com.varnolex.generator", QueuePriority::timing)) {
    publish(GeneratorEvents::ofSteps(settings().steps));
}

void MidiGeneratorTool::process(const ChainMessage& message, ToolChain& chain) {
    const GeneratorTrigger& trigger = settingsInWalk().trigger;
    if (trigger.mode != GeneratorTrigger::Mode::manual && isTrigger(trigger, message))
        running.get() ? stopRun(chain) : startRun(Passes::asSet, chain);
    chain.forward(message);
}

bool MidiGeneratorTool::isTrigger(const GeneratorTrigger& trigger, const ChainMessage& message) const {
    if (message.length < 3) return false;
    if (trigger.mode == GeneratorTrigger::Mode::noteOn)
        return message.kind() == 0x90 && message.data1() == trigger.note && message.data2() != 0;
    return message.kind() == 0xB0 && message.data1() == trigger.controller && message.data2() >= trigger.threshold;
}

// The buttons

template <class Work>
void MidiGeneratorTool::enterChain(Work&& work) {
    if (const auto owner = chain()) owner->enter([&] { work(*owner); });
}

void MidiGeneratorTool::startPlaying() {
    if (!isEnabled()) return;
    enterChain([this](ToolChain& chain) { startRun(Passes::asSet, chain); });
}

void MidiGeneratorTool::sendOnce() {
    if (!isEnabled()) return;
    enterChain([this](ToolChain& chain) {
        if (!running.get()) startRun(Passes::one, chain);
    });
}

void MidiGeneratorTool::stopPlaying() {
    enterChain([this](ToolChain& chain) {
        wasRunningBeforeDisable = false;
        stopRun(chain);
    });
}

void MidiGeneratorTool::sendPanic() {
    enterChain([](ToolChain& chain) { panic(chain); });
}

void MidiGeneratorTool::stop() {
    enterChain([this](ToolChain& chain) {
        wasRunningBeforeDisable = false;
        running.get() ? stopRun(chain) : endNotes(chain);
    });
}

void MidiGeneratorTool::enabledDidChange(bool isOn) {
    enterChain([&](ToolChain& chain) {
        if (isOn) {
            if (std::exchange(wasRunningBeforeDisable, false)) startRun(Passes::asSet, chain);
            return;
        }
        wasRunningBeforeDisable = running.get();
        running.get() ? stopRun(chain) : endNotes(chain);
    });
}

// What is to be played

void MidiGeneratorTool::settingsDidChange(const MidiGeneratorSettings& before) {
    const MidiGeneratorSettings& now = settings();
    if (now.sourceMode == MidiGeneratorSettings::builder) return publish(GeneratorEvents::ofSteps(now.steps));
    hasJustLoaded = now.sourceMode != before.sourceMode || now.filePath != before.filePath;
    if (hasJustLoaded) loadFile();
}

void MidiGeneratorTool::recordWasApplied() {
    if (!std::exchange(hasJustLoaded, false)) loadFile();
}

void MidiGeneratorTool::loadFile() {
    if (settings().sourceMode == MidiGeneratorSettings::builder) return;
    publish(eventsOfFile(settings().filePath, settings().sourceMode));
}

void MidiGeneratorTool::publish(GeneratorEvents events) {
    kept.push_back(std::make_shared<GeneratorEvents>(std::move(events)));
    prepared.set(kept.back());
    std::erase_if(kept, [](const Events& one) { return one.use_count() == 1; });
}

// A run

void MidiGeneratorTool::startRun(Passes wanted, ToolChain& chain) {
    endNotes(chain);
    running.set(true);
    passes = wanted;
    due = Runtime::current().hostTime();
    beginPass(0);
}

void MidiGeneratorTool::stopRun(ToolChain& chain) {
    running.set(false);
    endNotes(chain);
    if (settingsInWalk().panicOnStop) panic(chain);
}

void MidiGeneratorTool::endNotes(ToolChain& chain) {
    ++generation;
    nextTimer.cancel();
    noteEndTimer.cancel();
    const ChainMessage place{nullptr, 0, Runtime::current().hostTime(), true};
    pendingNoteOffs.takeAll([&](const ShortMessage& off) { chain.forward(place.carrying(off)); });
    // A file ends its notes later on, which it doesn't come to any more.
    notesOfFile.end([&](std::span<const std::uint8_t> off) { chain.forward(place.carrying(off)); });
}

void MidiGeneratorTool::panic(ToolChain& chain) {
    const ChainMessage place{nullptr, 0, Runtime::current().hostTime(), true};
    for (std::uint8_t channel = 0; channel < 16; ++channel) {
        const ShortMessage off = ShortMessage::controller(channel, allNotesOff, 0);
        chain.forward((channel < 15 ? place.notLast() : place).carrying(off));
    }
}

bool MidiGeneratorTool::isOver(std::int64_t number) const {
    if (passes == Passes::one) return number >= 1;
    const GeneratorRules rules = current();
    return !rules.repeatsForEver && number >= rules.passes;
}

void MidiGeneratorTool::beginPass(std::int64_t number) {
    pass = number;
    playing = prepared.get();
    if (isOver(number) || playing->list().empty()) return running.set(false);
    nextEvent = 0;
    passBegan = due;
    scheduleNext();
}

void MidiGeneratorTool::scheduleNext() {
    const bool isPassDone = nextEvent >= playing->list().size();
    due += static_cast<HostTime>((isPassDone ? waitForNextPass() : waitAhead()).count());
    const HostTime now = Runtime::current().hostTime();
    if (due + longestLateness < now) due = now;
    nextTimer.start(due, [this](ToolChain& chain) { playDue(chain); });
}

Nanoseconds MidiGeneratorTool::drawDelay(const GeneratorRules& rules) const {
    if (!rules.randomDelay) return waitOf(rules.delayMs);
    return waitOf(Runtime::current().randomInteger(rules.randomDelayMin, rules.randomDelayMax));
}

Nanoseconds MidiGeneratorTool::humanized(Nanoseconds wait, const GeneratorRules& rules) const {
    if (rules.humanizeMs < 1) return wait;
    const Nanoseconds most = waitOf(rules.humanizeMs);
    const Nanoseconds shift(
        Runtime::current().randomInteger(-most / std::chrono::milliseconds(1), most / std::chrono::milliseconds(1)) *
        1'000'000);
    return std::max(wait + shift, Nanoseconds(0));
}

Nanoseconds MidiGeneratorTool::waitAhead() const {
    const GeneratorRules rules = current();
    if (nextEvent == 0) return humanized(Nanoseconds(0), rules);
    const auto& own = playing->list()[nextEvent].wait;
    return humanized(own ? *own : drawDelay(rules), rules);
}

Nanoseconds MidiGeneratorTool::waitForNextPass() const {
    const GeneratorRules rules = current();
    const Nanoseconds least = due == passBegan ? std::max(shortestPass, playing->tail()) : playing->tail();
    return std::max(humanized(drawDelay(rules), rules), least);
}

void MidiGeneratorTool::playDue(ToolChain& chain) {
    const std::size_t index = nextEvent;
    if (index >= playing->list().size()) return beginPass(pass + 1);
    // What the message sets off may stop this run or begin another one.
    const Events from = playing;
    const std::uint64_t inRun = generation;
    ++nextEvent;
    fire(from->list()[index], *from, chain);
    if (generation == inRun) scheduleNext();
}

void MidiGeneratorTool::fire(const GeneratorEvents::Event& event, GeneratorEvents& from, ToolChain& chain) {
    const std::span<std::uint8_t> bytes = from.bytes(event);
    if (bytes.empty()) return;
    if (event.randomByte) {
        bytes[*event.randomByte] =
            static_cast<std::uint8_t>(Runtime::current().randomInteger(event.randomMin, event.randomMax));
        if (!isWholeMessage(bytes)) return;
    }
    const std::uint64_t inRun = generation;
    const ChainMessage message{bytes.data(), bytes.size(), Runtime::current().hostTime(), true};
    deliver(message, chain);
    wasPlayed(message, event, inRun, chain);
}

void MidiGeneratorTool::wasPlayed(const ChainMessage& message, const GeneratorEvents::Event& event, std::uint64_t inRun,
                                  ToolChain& chain) {
    const GeneratorRules rules = current();
    const bool isTimed = event.noteDuration > Nanoseconds(0) && message.isNoteOn();
    if (!isTimed && !rules.playsMIDIFile) return;
    if (generation != inRun) {
        // The stop that the note itself set off came ahead of it.
        const ShortMessage off = ShortMessage::noteOff(message.channel(), message.length > 1 ? message.data1() : 0);
        if (message.isNoteOn()) chain.forward(message.carrying(off));
        return;
    }
    if (!isTimed) return notesOfFile.observe({message.bytes, message.length});
    pendingNoteOffs.add(message.noteKey(), message.timeStamp + static_cast<HostTime>(event.noteDuration.count()));
    scheduleNoteEnd();
}

void MidiGeneratorTool::deliver(const ChainMessage& message, ToolChain& chain) const {
    settingsInWalk().injectFromTop ? chain.send(message) : chain.forward(message);
}

void MidiGeneratorTool::scheduleNoteEnd() {
    if (pendingNoteOffs.isEmpty()) return noteEndTimer.cancel();
    noteEndTimer.start(pendingNoteOffs.earliest(), [this](ToolChain& chain) { endDueNotes(chain); });
}

void MidiGeneratorTool::endDueNotes(ToolChain& chain) {
    const ChainMessage place{nullptr, 0, Runtime::current().hostTime(), true};
    pendingNoteOffs.takeDue(place.timeStamp, [&](const ShortMessage& off) { deliver(place.carrying(off), chain); });
    scheduleNoteEnd();
}

const ToolDefinition midiGeneratorDefinition{
    PipeToolType::midiGenerator, "MidiGeneratorConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<MidiGeneratorTool>(); }};

}  // namespace varnolex
