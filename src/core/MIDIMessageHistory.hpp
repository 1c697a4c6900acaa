#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_set>

#include "core/MIDIMessageFilter.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

/// Names of endpoints, as messages carry them.
using EndpointNames = std::unordered_set<SharedName>;

/// The newest messages of a view. Messages are added on the main thread; any thread may read.
class MIDIMessageHistory {
public:
    static constexpr std::size_t usualMaxCount = 1000;

    explicit MIDIMessageHistory(std::size_t most = usualMaxCount) : limit(most) {}

    /// How many messages are kept. A surplus goes at the next `add`. Main thread.
    std::size_t maxCount() const { return limit; }
    void setMaxCount(std::size_t most) { limit = most; }

    /// Appends a batch, and drops the oldest beyond `maxCount`. Main thread.
    void add(MessageList messages);

    /// Forgets everything, and begins to count anew.
    void clear();

    /// A copy of what is held, oldest first.
    MessageList messages() const;

    /// Those that the filter lets pass and that come from one of these endpoints; messages without a name, and all
    /// messages when no names are given, come from anywhere.
    MessageList filteredMessages(const MIDIMessageFilter& filter, const EndpointNames& allowedNames,
                                 MIDIMessageFilter::Zone firstZone, MIDIMessageFilter::Zone secondZone) const;

    /// All messages ever added since the last `clear`.
    std::size_t totalAdded() const;

    /// Grows with every `add` and `clear`: observers compare it.
    std::uint64_t revision() const;

private:
    /// Messages from `first` on; before it lie places whose messages were dropped.
    struct Held {
        std::size_t count() const { return places.size() - first; }

        MessageList places;
        std::size_t first = 0;
        std::size_t added = 0;
        std::uint64_t changes = 0;
    };

    std::size_t limit;
    Guarded<Held> held;
};

}  // namespace varnolex
