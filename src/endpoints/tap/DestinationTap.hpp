#pragma once

#include <cstdint>
#include <functional>

#include "endpoints/PacketList.hpp"

namespace varnolex {

/// Hears what programs send to destinations of the MIDI system. Main thread, but for the listener.
class DestinationTap {
public:
    /// Gets every list for a destination that is tapped, valid during the call only. Runs on the MIDI system's own
    /// real-time thread, so it must obey the rules of the processing road; one call at a time for each destination.
    using Listener = std::function<void(std::int32_t uniqueID, const PacketListView& list)>;

    virtual ~DestinationTap() = default;

    /// Before the first `start`.
    virtual void setListener(Listener listener) = 0;

    /// Taps the destination with this unique ID from now on, also when it isn't there yet, or goes and comes back.
    virtual void start(std::int32_t uniqueID) = 0;

    /// Nothing when it isn't tapped. A call of the listener may still be under way.
    virtual void stop(std::int32_t uniqueID) = 0;
};

}  // namespace varnolex
