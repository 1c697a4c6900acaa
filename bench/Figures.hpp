#pragma once

#include <cstddef>
#include <vector>

#include "bench/Measurement.hpp"

// The groups of figures. Main thread; each installs the runtime that it needs.

namespace varnolex::bench {

using Figures = std::vector<Figure>;

/// Nodes in series, one alone, and branches side by side.
void measureWalks(const Effort& effort, Figures& figures);

/// Each kind of tool that answers within the call: what a message costs that is taken in or handed on, whichever are
/// more.
void measureTools(const Effort& effort, Figures& figures);

/// A message through a script, in simulated time and in live work, against the engine's own bare call.
void measureScripts(const Effort& effort, Figures& figures);

/// From bytes to typed, shared messages.
void measureParser(const Effort& effort, Figures& figures);

/// From the buffers of the sources to what tabs show.
void measureMonitoring(const Effort& effort, Figures& figures);

/// Loading, saving and merging Standard MIDI Files.
void measureMIDIFiles(const Effort& effort, Figures& figures);

void measureDocuments(const Effort& effort, Figures& figures);

/// A patch over a recording, file to file, and the start of the program.
void measureRender(const Effort& effort, Figures& figures);
void measureStart(const Effort& effort, Figures& figures);

/// How late the ticks of a clock are on the real runtime, against a bare timer beside it: two minutes, or ten seconds
/// in quick.
void measureTimers(const Effort& effort, Figures& figures);

/// 200,000 messages a second from one source, for ten seconds or two in quick, beside a studio that is played.
void measureFlood(const Effort& effort, Figures& figures);

/// A busy session among hostile programs, in real time and in virtual time: what it has grown by at its end. Half a
/// minute, in quick six seconds, and an hour; with `isLong` ten minutes and a day.
void measureSoak(const Effort& effort, Figures& figures);

/// Sends messages through `nodes` nodes in series and does nothing else: for a profiler, which collects inside
/// `varnolexBenchWalk` alone.
void walkForProfiler(std::size_t nodes, std::size_t messages);

}  // namespace varnolex::bench
