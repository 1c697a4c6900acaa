#pragma once

#include <optional>
#include <string>
#include <vector>

#include "endpoints/ServiceChoice.hpp"

namespace varnolex {

struct RecordOptions {
    MIDIServiceKind service = MIDIServiceKind::automatic;
    /// Sources; none for all of them, also those that come while it records.
    std::vector<std::string> endpoints;
    std::string output = "-";
    bool json = false;
    std::optional<double> seconds;
};

/// `varnolex record`: writes what sources play into a file, when it is interrupted or its time is over.
void runRecord(const RecordOptions& options);

}  // namespace varnolex
