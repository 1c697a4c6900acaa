#pragma once

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/message/Message.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// How an endpoint stands with flood control.
struct FloodEndpointState {
    /// Messages counted in the current window.
    std::size_t messageCount = 0;
    /// Host time at which the window began.
    HostTime windowStart = 0;
    bool isFlooding = false;
    /// Quiet windows in a row while flooding.
    int clearCount = 0;
    /// Loud windows in a row while not flooding.
    int sustainCount = 0;
    /// The last batch from which a message was let through.
    std::uint64_t lastSampledBatch = 0;
};

/// Cuts an endpoint that floods the system down to a message a batch, and one that was muted off. An endpoint is known
/// by its display name; messages without one come from "Unknown". A window is closed by the first message after it.
/// Main thread.
class FloodFilter {
public:
    using Names = std::unordered_set<SharedName>;

    static constexpr Nanoseconds window = std::chrono::milliseconds(100);
    /// Messages in a window that make it loud.
    static constexpr std::size_t loudWindow = 500;
    static constexpr int loudWindowsToEnter = 3;
    static constexpr int quietWindowsToLeave = 20;

    /// What passes of a batch, endpoint after endpoint, each in its order. That is the batch itself when all of it
    /// passes as it is, and otherwise `room`, which is empty before.
    const MessageList& filter(const MessageList& batch, MessageList& room);

    /// Lets nothing of this endpoint pass until `release`.
    void mute(SharedName name) { muted.insert(name); }
    /// Lets the endpoint pass again, and forgets how it stood.
    void release(SharedName name);

    /// Forgets all endpoints and begins to count batches anew.
    void reset();

    const Names& mutedEndpoints() const { return muted; }
    const Names& floodingEndpoints() const { return flooding; }
    /// Null for an endpoint that wasn't heard yet.
    const FloodEndpointState* state(SharedName name) const;
    std::uint64_t batchCount() const { return batchCounter; }

private:
    /// Messages of one endpoint in a batch.
    struct Group {
        SharedName name;
        std::size_t count = 0;
        std::size_t passing = 0;
        /// Where the next message of the group goes.
        std::size_t place = 0;
    };
    /// Messages that follow each other in a batch and belong to one group.
    struct Run {
        std::size_t group;
        std::size_t begin;
        std::size_t end;
    };

    bool isAllMuted(const MessageList& batch) const;
    void findGroups(const MessageList& batch);
    std::size_t groupNamed(SharedName name);
    std::size_t passingOf(const Group& group, HostTime now);
    void closeWindow(FloodEndpointState& endpoint, SharedName name, HostTime now);
    void enterFlood(FloodEndpointState& endpoint, SharedName name);
    void leaveFlood(FloodEndpointState& endpoint, SharedName name);
    void gather(const MessageList& batch, MessageList& passed);

    std::unordered_map<SharedName, FloodEndpointState> states;
    Names flooding;
    Names muted;
    std::uint64_t batchCounter = 0;

    // Used within one call; kept for their memory.
    std::vector<Group> groups;
    std::vector<Run> runs;
    std::unordered_map<SharedName, std::size_t> groupIndices;
};

}  // namespace varnolex
