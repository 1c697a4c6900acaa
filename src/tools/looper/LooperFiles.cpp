#include "core/midifile/MIDIFile.hpp"
#include "tools/looper/LooperMIDIFile.hpp"
#include "tools/looper/LooperWalk.hpp"

// The loop's ways out and in: MIDI files, and the list that documents keep.

namespace varnolex {
namespace {

constexpr std::size_t headSize = 2;
constexpr std::size_t noteSize = 5;
constexpr std::size_t rawSize = 4;

/// Halving and doubling may leave events behind the loop's end, but no farther than this, which a MIDI file can tell.
constexpr std::int64_t farthestTick = 2 * std::int64_t{longestLoop};

/// One field after the other of the list, each held to its range.
class ListReader {
public:
    explicit ListReader(std::span<const std::int64_t> list) : entries(list) {}

    std::size_t left() const { return entries.size(); }

    template <class Integer>
    Integer next(std::int64_t low, std::int64_t high) {
        const std::int64_t entry = entries.empty() ? low - 1 : entries.front();
        if (entry < low || entry > high) throw ParameterError("\"loop\" isn't a loop");
        entries = entries.subspan(1);
        return static_cast<Integer>(entry);
    }

private:
    std::span<const std::int64_t> entries;
};

void readLoop(std::span<const std::int64_t> list, LoopBuffer& loop) {
    ListReader reader(list);
    loop.lengthInTicks = reader.next<std::uint32_t>(1, longestLoop);
    auto notes = reader.next<std::size_t>(0, loop.events.capacity);
    const auto tick = [&] { return reader.next<std::uint32_t>(0, farthestTick); };
    const auto byte = [&](std::int64_t high) { return reader.next<std::uint8_t>(0, high); };
    for (; notes > 0; --notes) {
        LooperNoteEvent event{tick(), byte(127), byte(127), byte(15), 1};
        event.duration = reader.next<std::uint16_t>(1, UINT16_MAX);
        static_cast<void>(loop.events.append(event));
    }
    while (reader.left() > 0)
        if (!loop.rawEvents.append({tick(), reader.next<std::uint8_t>(0x80, 0xEF), byte(127), byte(127)}))
            throw ParameterError("\"loop\" holds too much");
}

}  // namespace

LoopBuffer LooperTool::copyOfLoop() const {
    LoopBuffer copy;
    inWalkOf(*this, [&] { copy.copyFrom(history.loop()); });
    return copy;
}

std::string LooperTool::exportMIDIFile() const { return LooperMIDIFile::write(copyOfLoop()); }

bool LooperTool::importMIDIFile(std::string_view data) {
    try {
        LoopBuffer loop;
        LooperMIDIFile::read(data, loop);
        adopt(loop);
        return true;
    } catch (const MIDIFileError&) {
        return false;
    }
}

void LooperTool::adopt(LoopBuffer& loop) {
    command([&](Outlet outlet) {
        flush(outlet);
        std::swap(history.loop(), loop);
        history.forgetSteps();
        state.currentTick = 0;
        state.transport = LooperTransport::stopped;
        state.pendingRecordNotes.clear();
        updateEventCount();
    });
}

std::vector<std::int64_t> LooperTool::content() const {
    const LoopBuffer loop = copyOfLoop();
    std::vector<std::int64_t> list;
    if (loop.lengthInTicks == 0) return list;
    list.reserve(headSize + noteSize * loop.events.size() + rawSize * loop.rawEvents.size());
    list = {loop.lengthInTicks, static_cast<std::int64_t>(loop.events.size())};
    for (const LooperNoteEvent& note : loop.events)
        list.insert(list.end(), {note.tick, note.note, note.velocity, note.channel, note.duration});
    for (const LooperRawEvent& raw : loop.rawEvents) list.insert(list.end(), {raw.tick, raw.b0, raw.b1, raw.b2});
    return list;
}

/// A looper that has a loop keeps it: what is put back around it while it plays, by undoing an edit, isn't its music.
void LooperTool::adoptContent(std::span<const std::int64_t> list) {
    LoopBuffer loop;
    readLoop(list, loop);
    bool isFree = false;
    inWalkOf(*this, [&] { isFree = history.loop().lengthInTicks == 0 && state.transport == LooperTransport::empty; });
    if (isFree) adopt(loop);
}

}  // namespace varnolex
