// USES core
#include "FuzzInput.hpp"
#include "core/midifile/StandardMIDIFile.hpp"

using namespace varnolex;

namespace {

void checkMerge(const MIDIFile& file) {
    const TempoMap map = file.tempoMap();
    std::size_t count = 0;
    for (const MIDIFileTrack& track : file.tracks) count += track.events.size();
    MIDIFileMerge merge(file);
    MergedEvent last;
    for (MergedEvent event; merge.next(event); last = event, --count) {
        require(event.tick >= last.tick && event.time >= last.time, "events come in order");
        require(event.time == map.nanoseconds(event.tick), "the cursor tells the map's time");
        require(map.nanoseconds(map.nearestTick(event.time)) == event.time, "an event's time is that of a tick");
        require(!event.bytes.empty(), "an event has bytes");
    }
    require(count == 0, "every event comes once");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MIDIFile file;
    try {
        file = StandardMIDIFile::read(textOf(data, size));
    } catch (const MIDIFileError& error) {
        require(std::string_view(error.what()).find("offset 0x") != std::string_view::npos, "an error names its place");
        return 0;
    }
    checkMerge(file);
    try {
        const std::string once = StandardMIDIFile::write(file);
        require(StandardMIDIFile::write(StandardMIDIFile::read(once)) == once, "what was written reads back the same");
    } catch (const MIDIFileError&) {
        // The format can't tell everything that may be read, such as a track more than its count holds.
        require(file.tracks.size() >= 0xFFFF || file.endTick() > 0x0FFF'FFFFull * 1024, "what was read can be written");
    }
    return 0;
}
