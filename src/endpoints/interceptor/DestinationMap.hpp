#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>

#include "endpoints/MIDIService.hpp"
#include "platform/concurrency/Published.hpp"

namespace varnolex {

/// Which destination has a unique ID in this run, kept by a client of the MIDI service of its own.
class DestinationMap {
public:
    using Entries = std::unordered_map<std::int32_t, MIDIEndpointRef>;
    /// Reads the present destinations. It may be told of another change meanwhile.
    using Reading = std::function<Entries()>;

    explicit DestinationMap(Reading readDestinations = readFromService);

    /// Makes the client "com.varnolex.port", which follows the changes, and reads the map. Main thread, once; the map
    /// must be held by a shared pointer from then on.
    static MIDIStatus start(const std::shared_ptr<DestinationMap>& map);

    /// Reads the map anew. A change that comes during a rebuild makes for one more behind it, however many they are.
    /// Main thread.
    void rebuild();

    /// 0 when no destination has the ID. Any thread.
    MIDIEndpointRef find(std::int32_t uniqueID) const;

    static Entries readFromService();

private:
    const Reading read;
    bool isRebuilding = false;
    bool mustRebuildAgain = false;
    /// Replaced as a whole, so that it may change at any moment while others look something up.
    Published<Entries> entries;
};

}  // namespace varnolex
