#pragma once

#include <optional>
#include <string>
#include <vector>

#include "endpoints/ServiceChoice.hpp"

namespace varnolex {

struct MonitorOptions {
    MIDIServiceKind service = MIDIServiceKind::automatic;
    /// Sources or destinations; none for all of them.
    std::vector<std::string> endpoints;
    /// Keys of message kinds, such as "noteOn"; none for all.
    std::vector<std::string> kinds;
    /// 1 to 16; none for all.
    std::vector<int> channels;
    bool json = false;
    /// Once a second, on standard error.
    bool rates = false;
    std::optional<double> seconds;
};

/// `varnolex monitor`: the messages of live endpoints as they come, until it is interrupted.
void runMonitor(const MonitorOptions& options);

}  // namespace varnolex
