#include "cli/RenderCommand.hpp"

#include <cmath>
#include <cstdio>

#include "cli/CommandFailure.hpp"
#include "cli/RenderRun.hpp"
#include "cli/Streams.hpp"
#include "platform/Stopwatch.hpp"
#include "tools/endpoints/PacketCutter.hpp"

namespace varnolex {
namespace {

std::optional<ClockFeed> clockFor(const RenderOptions& options, const MusicInput& input,
                                  const std::optional<TempoMap>& map) {
    if (!options.clockBPM) return std::nullopt;
    if (map && !input.midiFile()->division.isSMPTE())
        return ClockFeed(*map, input.midiFile()->division.ticksPerQuarter);
    return ClockFeed(*options.clockBPM);
}

void tellStats(const RenderRun& run, const MusicInput& input, Nanoseconds real) {
    std::size_t messages = 0;
    for (const MusicInput::Packet& packet : input.packets()) messages += PacketCutter::count(input.bytes(packet));
    std::fprintf(stderr, "messages in: %zu, out: %zu, dropped: %llu\nvirtual duration: %.3f s, real duration: %.3f s\n",
                 messages, run.output().size(), static_cast<unsigned long long>(run.droppedMessages()),
                 static_cast<double>(run.virtualDuration()) / ticksPerSecond,
                 std::chrono::duration<double>(real).count());
}

}  // namespace

void runRender(const RenderOptions& options) {
    if (options.json && isMIDIFileName(options.output))
        throw UsageError("--json writes text: it doesn't go with the MIDI file " + options.output);
    requireWritable(options.output);
    const Stopwatch stopwatch;
    const MusicInput input = MusicInput::read(options.input);
    std::optional<TempoMap> map;
    if (input.midiFile()) map = input.midiFile()->tempoMap();

    RenderRun run(options.patch, options.seed);
    run.connect(input);
    if (options.pressStart) run.pressStart();
    run.feed(input, clockFor(options, input, map), Nanoseconds(std::llround(options.tailSeconds * 1e9)));
    run.finish();
    writeMusic(run.output(), options.output, input.midiFile() ? &*input.midiFile() : nullptr, options.json);
    if (options.stats) tellStats(run, input, stopwatch.elapsed());
}

}  // namespace varnolex
