#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Runtime.hpp"

namespace varnolex {

class PipeTool;

/// Tells the interface which parameters were ridden a moment ago. Main thread.
class LiveValueTracker {
public:
    static LiveValueTracker& shared();

    /// Notes that a port has taken a value just now.
    void record(const UUID& toolID, std::string_view portID, double value);

    /// The last value of the port if it is younger than `maxAge`.
    std::optional<double> recentValue(const UUID& toolID, std::string_view portID, Nanoseconds maxAge) const;

    /// Grows with every change, and once more when the last value has grown old: what a display observes.
    std::uint64_t revision() const { return revisions; }

private:
    struct Update {
        double value;
        HostTime at;
    };

    std::map<std::string, Update> updates;
    std::uint64_t revisions = 0;
    WorkItem expirationTimer;
};

/// Hands a number for a live key to a tool, by way of the main thread. Processing road: no allocation. `key` is a
/// text that lives as long as the program, as `PipeTool::liveKey` gives it.
void postLiveValue(PipeTool& tool, std::string_view key, double value) noexcept;

}  // namespace varnolex
