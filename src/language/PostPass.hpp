#pragma once

#include <vector>

#include "language/CompiledNode.hpp"

namespace varnolex {

// What a finished program gets without asking for it.

/// A cable from every clock to every arpeggiator that hasn't one: they can stand on lines of their own.
void connectClocksToArpeggiators(const std::vector<DSLCompiledNode>& nodes, std::vector<DSLConnection>& connections);

/// Turns on the synchronisation of every LFO that hangs on a clock.
void synchroniseClockedLFOs(std::vector<DSLCompiledNode>& nodes, const std::vector<DSLConnection>& connections);

/// Puts a disassembler between every NRPN assembler and an output that hangs right on it, so that the output sends the
/// parameter as separate controllers.
void insertDisassemblers(std::vector<DSLCompiledNode>& nodes, std::vector<DSLConnection>& connections);

}  // namespace varnolex
