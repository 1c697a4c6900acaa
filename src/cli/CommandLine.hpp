#pragma once

namespace varnolex {

/// Runs the program as it was called and returns its exit status: 0 done, 1 failed while running, 2 called wrongly.
int runCommandLine(int argc, const char* const* argv);

}  // namespace varnolex
