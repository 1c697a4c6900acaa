#pragma once

#include <optional>
#include <string>

#include "cli/PatchSource.hpp"
#include "endpoints/ServiceChoice.hpp"

namespace varnolex {

struct RunOptions {
    MIDIServiceKind service = MIDIServiceKind::automatic;
    PatchChoice patch;
    /// Endpoints for the inputs and outputs of the studio that have none of their own.
    std::optional<std::string> input;
    std::optional<std::string> output;
    bool pressStart = false;
    std::optional<double> seconds;
};

/// `varnolex run`: a studio graph, live, until it is interrupted.
void runRun(const RunOptions& options);

}  // namespace varnolex
