#include "tools/looper/LoopReading.hpp"
#include "tools/looper/LooperWalk.hpp"

// What sounds on a tick, and how its notes end.

namespace varnolex {
namespace {

bool isLeftToChance(int probability) {
    return probability < 100 && Runtime::current().randomInteger(0, 99) >= probability;
}

/// Programs and channel pressure that came with a byte too many leave without it.
ShortMessage messageOf(const LooperRawEvent& event) {
    if (event.b0 >> 4 == 0xC || event.b0 >> 4 == 0xD) return {event.b0, event.b1};
    return {event.b0, event.b1, event.b2};
}

ShortMessage noteOffOf(NoteKey key) {
    return ShortMessage::noteOff(static_cast<std::uint8_t>(key >> 7), static_cast<std::uint8_t>(key & 0x7F));
}

}  // namespace

void LooperTool::playbackStep(const LooperSnapshot& now, const Step& step, Outlet outlet) {
    const LoopReading reading(now, now.reverse, step.tick, step.length);
    const LoopBuffer& loop = history.loop();
    for (std::size_t index = 0; index < loop.events.size(); ++index) {
        const LooperNoteEvent event = loop.events[index];
        if (reading.isNoteDue(event.tick) && !isLeftToChance(now.probability)) playNote(event, now, outlet);
    }
    for (std::size_t index = 0; index < loop.rawEvents.size(); ++index) {
        const LooperRawEvent event = loop.rawEvents[index];
        if (!reading.isDue(event.tick) || isLeftToChance(now.probability)) continue;
        const ShortMessage message = messageOf(event);
        hand(ChainMessage{nullptr, 0, outlet.timeStamp, false}.carrying(message), *outlet.chain);
    }
}

void LooperTool::playNote(const LooperNoteEvent& event, const LooperSnapshot& now, Outlet outlet) {
    const std::int64_t moved = std::int64_t{event.note} + now.transpose;
    if (moved < 0 || moved > 127) return;
    if (noteOffs.isFull()) {
        // A note whose end can't be kept isn't begun.
        lost.add(1);
        return;
    }
    const auto note = static_cast<std::uint8_t>(moved);
    const ShortMessage on = ShortMessage::noteOn(event.channel, note, event.velocity);
    hand(ChainMessage{nullptr, 0, outlet.timeStamp, false}.carrying(on), *outlet.chain);
    const NoteKey key = noteKeyOf(event.channel, note);
    state.activePlaybackNotes.add(key);
    if (state.tickIntervalNs == 0) return;
    constexpr std::uint64_t millisecond = 1'000'000;
    const std::uint64_t milliseconds = std::max<std::uint64_t>(event.duration * state.tickIntervalNs / millisecond, 1);
    noteOffs.add(Runtime::current().hostTime() + milliseconds * millisecond, key);
    scheduleNoteOffs();
}

/// One timer, for the note that ends next.
void LooperTool::scheduleNoteOffs() {
    if (noteOffs.isEmpty() || (noteOffTimer.isRunning() && noteOffTimer.deadline() <= noteOffs.next())) return;
    noteOffTimer.start(noteOffs.next(), [this](ToolChain& chain) { endDueNotes(chain); });
}

void LooperTool::endDueNotes(ToolChain& chain) {
    const HostTime now = Runtime::current().hostTime();
    while (!noteOffs.isEmpty() && noteOffs.next() <= now) {
        const NoteKey key = noteOffs.take();
        if (!state.activePlaybackNotes.take(key)) continue;
        const ShortMessage off = noteOffOf(key);
        hand(ChainMessage{nullptr, 0, now, true}.carrying(off), chain);
    }
    scheduleNoteOffs();
}

/// Ends every played-back note. Without a chain there is nobody to tell.
void LooperTool::flush(Outlet outlet) {
    if (!outlet.chain) return;
    cancelNoteOffs();
    state.activePlaybackNotes.takeAll([&](NoteKey key) {
        const ShortMessage off = noteOffOf(key);
        hand(ChainMessage{nullptr, 0, outlet.timeStamp, false}.carrying(off), *outlet.chain);
    });
}

void LooperTool::cancelNoteOffs() {
    noteOffs.clear();
    noteOffTimer.cancel();
}

}  // namespace varnolex
