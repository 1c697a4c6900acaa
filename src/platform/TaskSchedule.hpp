#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/HostTime.hpp"
#include "platform/InlineTask.hpp"

namespace varnolex {

/// The pending tasks of all queues that one thread serves, in the order of (deadline, scheduling). Once it has reached
/// its working size nothing here allocates. One thread at a time: real queues keep it behind a short lock. For
/// that lock's sake a task that goes away is handed to the caller (`ended`), who destroys it outside.
class TaskSchedule {
public:
    using Ticket = std::uint64_t;

    /// A repeating task that is later than this leaves ticks out instead of making up for them in one burst.
    static constexpr HostTime catchUpLimit = ticksPerSecond;

    /// `capacity`: the number of tasks to be ready for from the start.
    explicit TaskSchedule(std::size_t capacity);

    /// A deadline that has passed counts as now. A `period` above 0 makes the task repeat on the grid of
    /// its deadline: if that has passed, one tick comes at once and the next one on the grid.
    Ticket push(const void* owner, HostTime deadline, HostTime period, HostTime now, Task&& task);

    /// Calls a task off; a ticket whose task is gone does nothing. A running task ends, but doesn't repeat.
    void cancel(Ticket ticket, Task& ended);

    /// Calls off the tasks of `owner` (of everybody when null), a bounded step at a time: to be called, with a
    /// cursor that starts at 0, for as long as it is true.
    bool cancelSome(const void* owner, std::uint32_t& cursor, Task& ended);

    struct Begun {
        /// Null when nothing is due. Stays in its place until `finish`.
        Task* task = nullptr;
        HostTime time = 0;
        const void* owner = nullptr;
    };

    /// Begins the first task that is due at `time`. The former one must have been finished.
    Begun begin(HostTime time);

    void finish(HostTime now, Task& ended);

    bool isRunning() const { return running != none; }

    /// When the next task is due; it may turn out to have been called off.
    std::optional<HostTime> nextDeadline() const;

    /// How many tasks are pending or running, repeating ones counted once.
    std::size_t size() const { return living; }

private:
    static constexpr std::uint32_t none = ~0u;
    static constexpr std::uint32_t chunkSize = 256;

    struct Entry {
        Task task;
        const void* owner = nullptr;
        /// The deadline on the timer's own grid, which a late run doesn't move.
        HostTime nominal = 0;
        /// 0 for a task that runs once.
        HostTime period = 0;
        /// Changes whenever the entry is freed, so that an old ticket or node finds nothing.
        std::uint32_t generation = 1;
        std::uint32_t nextFree = none;
        bool isFree = true;
    };

    using Chunk = std::array<Entry, chunkSize>;

    struct Node {
        HostTime time;
        std::uint64_t sequence;
        std::uint32_t index;
        std::uint32_t generation;

        /// The heap keeps its greatest element in front: that is to be the earliest.
        bool operator<(const Node& other) const {
            return time != other.time ? time > other.time : sequence > other.sequence;
        }
    };

    Entry& entryAt(std::uint32_t index) { return (*chunks[index / chunkSize])[index % chunkSize]; }
    bool isStale(const Node& node) { return entryAt(node.index).generation != node.generation; }
    std::uint32_t capacity() const { return static_cast<std::uint32_t>(chunks.size()) * chunkSize; }
    void addChunk();
    void pushNode(HostTime time, std::uint32_t index);
    void popNode();
    void callOff(std::uint32_t index, Task& ended);
    void release(std::uint32_t index, Task& ended);
    void removeStaleNodes();

    std::vector<std::unique_ptr<Chunk>> chunks;
    std::vector<Node> order;
    std::uint64_t nextSequence = 0;
    std::size_t living = 0;
    /// Nodes of tasks that were called off: taking them out of the middle would cost more than passing over them.
    std::size_t staleNodes = 0;
    std::uint32_t firstFree = none;
    std::uint32_t running = none;
    bool isRunStopped = false;
};

}  // namespace varnolex
