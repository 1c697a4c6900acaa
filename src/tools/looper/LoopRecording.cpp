#include "tools/looper/LoopRecording.hpp"

#include <algorithm>

#include "platform/Runtime.hpp"
#include "platform/StableSort.hpp"

namespace varnolex {
namespace {

std::uint16_t limitedDuration(std::int64_t ticks) {
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(ticks, 1, UINT16_MAX));
}

std::uint16_t durationOf(std::uint32_t began, std::uint32_t ended, std::uint32_t length) {
    const std::int64_t around = ended < began ? length : 0;
    return limitedDuration(around - began + ended);
}

LooperNoteEvent eventOf(NoteKey key, HeldPresses::Press press, std::uint16_t duration) {
    return {press.tick, static_cast<std::uint8_t>(key & 0x7F), press.velocity, static_cast<std::uint8_t>(key >> 7),
            duration};
}

bool isParameterNumber(const LooperRawEvent& event) {
    if ((event.b0 & 0xF0) != 0xB0) return false;
    return event.b1 == 6 || event.b1 == 38 || event.b1 == 98 || event.b1 == 99;
}

/// Drops the events from `from` up to `to`.
template <class List>
void dropBetween(List& events, std::size_t from, std::size_t to) {
    if (from == to) return;
    const auto end = std::copy(events.begin() + to, events.end(), events.begin() + from);
    events.shrink(static_cast<std::size_t>(end - events.begin()));
}

void decayNotes(LoopBuffer& loop, int feedback, std::size_t startCount) {
    auto& events = loop.events;
    std::size_t kept = 0;
    std::size_t next = 0;
    // The bound counts what has been kept: each note that goes brings a later one into the walk.
    for (; kept < startCount && next < events.size(); ++next) {
        LooperNoteEvent event = events[next];
        event.velocity = static_cast<std::uint8_t>(event.velocity * (feedback / 100.0));
        if (event.velocity > 0) events[kept++] = event;
    }
    dropBetween(events, kept, next);
}

void decayRawEvents(LoopBuffer& loop, int feedback, std::size_t startCount) {
    auto& events = loop.rawEvents;
    const std::size_t old = std::min(startCount, events.size());
    std::size_t firstKept = old;
    for (std::size_t index = old; index-- > 0;) {
        const LooperRawEvent event = events[index];
        if (isParameterNumber(event) || Runtime::current().randomInteger(0, 99) < feedback) events[--firstKept] = event;
    }
    dropBetween(events, 0, firstKept);
}

}  // namespace

Recorded recordMessage(const ChainMessage& message, std::uint32_t tick, LoopBuffer& loop, HeldPresses& held) {
    if (message.isNoteOn()) {
        held.put(message.noteKey(), {tick, static_cast<std::uint8_t>(message.data2() & 0x7F)});
        return Recorded::nothing;
    }
    if (message.isNoteEnd()) {
        const auto press = held.take(message.noteKey());
        if (!press) return Recorded::nothing;
        const std::uint16_t duration = durationOf(press->tick, tick, loop.lengthInTicks);
        return loop.events.append(eventOf(message.noteKey(), *press, duration)) ? Recorded::note : Recorded::lost;
    }
    if (message.kind() < 0xA0 || message.kind() > 0xE0) return Recorded::nothing;
    const LooperRawEvent event{tick, message.status(), message.data1(), message.data2()};
    return loop.rawEvents.append(event) ? Recorded::raw : Recorded::lost;
}

std::uint32_t autoLength(std::uint32_t tick) {
    return std::max((tick + ticksPerBeat / 2) / ticksPerBeat * ticksPerBeat, ticksPerBeat);
}

std::size_t closeRecording(LoopBuffer& loop, HeldPresses& held, std::uint32_t length) {
    std::size_t lost = 0;
    held.takeAll([&](NoteKey key, HeldPresses::Press press) {
        const std::uint16_t duration = limitedDuration(std::int64_t{length} - press.tick);
        if (!loop.events.append(eventOf(key, press, duration))) ++lost;
    });
    loop.lengthInTicks = length;
    const auto isEarlier = [](const auto& one, const auto& other) { return one.tick < other.tick; };
    stableSortInPlace(loop.events.begin(), loop.events.end(), isEarlier);
    stableSortInPlace(loop.rawEvents.begin(), loop.rawEvents.end(), isEarlier);
    return lost;
}

void decayLayers(LoopBuffer& loop, int feedback, std::size_t startEventCount, std::size_t startRawEventCount) {
    if (feedback >= 100) return;
    decayNotes(loop, std::max(feedback, 0), startEventCount);
    decayRawEvents(loop, feedback, startRawEventCount);
}

}  // namespace varnolex
