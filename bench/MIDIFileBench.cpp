#include "bench/Figures.hpp"
#include "bench/Floors.hpp"
#include "bench/Music.hpp"
#include "core/midifile/StandardMIDIFile.hpp"

namespace varnolex::bench {

void measureMIDIFiles(const Effort& effort, Figures& figures) {
    constexpr std::size_t tracks = 16;
    const std::size_t passes = effort.passes / 2 + 1;
    const MIDIFile file = playedFile(effort.events, tracks);
    const std::string bytes = StandardMIDIFile::write(file);
    ByteMachine machine;
    std::vector<ByteMachine::Record> records;
    const std::vector<double> medians = mediansOf(passes, {
                                                              [&] { keep(StandardMIDIFile::read(bytes)); },
                                                              [&] { keep(StandardMIDIFile::write(file)); },
                                                              [&] {
                                                                  MIDIFileMerge merge(file);
                                                                  MergedEvent event;
                                                                  while (merge.next(event)) keep(event);
                                                              },
                                                              [&] {
                                                                  records.clear();
                                                                  machine.parse(file.arena, 1, records);
                                                                  keep(records);
                                                              },
                                                          });
    const double scale = 1e9 / static_cast<double>(effort.events);
    const auto add = [&](const char* name, double seconds, double budget, const char* meaning) {
        figures.push_back({name, seconds * scale, "ns/event", "byte machine, ns/event", medians[3] * scale,
                           Figure::Limit::value, budget, meaning});
    };
    add("MIDI file: load", medians[0], 50, "a large file is there at once");
    add("MIDI file: save", medians[1], 25, "saving doesn't interrupt");
    add("MIDI file: merge 16 tracks in time order", medians[2], 60, "many tracks play as easily as one");
}

}  // namespace varnolex::bench
