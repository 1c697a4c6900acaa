#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/PatchSource.hpp"

namespace varnolex {

struct RenderOptions {
    PatchChoice patch;
    std::string input = "-";
    std::string output = "-";
    /// Write JSON lines in place of event text.
    bool json = false;
    /// Press Start on every clock and generator at time 0.
    bool pressStart = false;
    /// Feed a MIDI clock, at this tempo where the input has no tempo map.
    std::optional<double> clockBPM;
    std::uint64_t seed = 1;
    double tailSeconds = 2;
    bool stats = false;
};

/// Runs a studio graph over recorded input in virtual time and writes what comes out. Throws `CommandFailure`,
/// `UsageError` or the error of a file.
void runRender(const RenderOptions& options);

}  // namespace varnolex
