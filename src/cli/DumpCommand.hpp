#pragma once

#include <string>

namespace varnolex {

/// Prints the typed messages that the monitoring side makes of recorded input, one a line. With `assemble`, NRPN and
/// RPN sequences are folded into single messages first. A file of the flight recorder (.vxld) is printed record by
/// record instead. Throws as `MusicInput::read` and `dumpRecorder` do.
void runDump(const std::string& input, bool json, bool assemble);

}  // namespace varnolex
