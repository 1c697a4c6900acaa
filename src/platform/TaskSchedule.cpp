#include "platform/TaskSchedule.hpp"

#include <algorithm>
#include <cassert>

namespace varnolex {

TaskSchedule::TaskSchedule(std::size_t capacityFromStart) {
    while (capacity() < capacityFromStart) addChunk();
    order.reserve(2 * capacityFromStart);
}

TaskSchedule::Ticket TaskSchedule::push(const void* owner, HostTime deadline, HostTime period, HostTime now,
                                        Task&& task) {
    if (firstFree == none) addChunk();
    const std::uint32_t index = firstFree;
    Entry& entry = entryAt(index);
    firstFree = entry.nextFree;
    entry.task = std::move(task);
    entry.owner = owner;
    entry.period = period;
    entry.nominal = deadline >= now || period == 0 ? deadline : now - (now - deadline) % period;
    entry.isFree = false;
    ++living;
    pushNode(std::max(deadline, now), index);
    return static_cast<Ticket>(entry.generation) << 32 | index;
}

void TaskSchedule::cancel(Ticket ticket, Task& ended) {
    const auto index = static_cast<std::uint32_t>(ticket);
    if (index < capacity() && entryAt(index).generation == static_cast<std::uint32_t>(ticket >> 32))
        callOff(index, ended);
}

bool TaskSchedule::cancelSome(const void* owner, std::uint32_t& cursor, Task& ended) {
    constexpr std::uint32_t step = 64;
    const std::uint32_t end = std::min(capacity(), cursor + step);
    for (; cursor < end; ++cursor) {
        const Entry& entry = entryAt(cursor);
        if (entry.isFree || (owner && entry.owner != owner)) continue;
        callOff(cursor++, ended);
        return true;
    }
    return cursor < capacity();
}

TaskSchedule::Begun TaskSchedule::begin(HostTime time) {
    assert(!isRunning());
    while (!order.empty() && order.front().time <= time) {
        const Node node = order.front();
        popNode();
        if (isStale(node)) {
            --staleNodes;
            continue;
        }
        running = node.index;
        isRunStopped = false;
        Entry& entry = entryAt(node.index);
        return {&entry.task, node.time, entry.owner};
    }
    return {};
}

void TaskSchedule::finish(HostTime now, Task& ended) {
    const std::uint32_t index = std::exchange(running, none);
    Entry& entry = entryAt(index);
    if (isRunStopped || entry.period == 0) return release(index, ended);
    entry.nominal += entry.period;
    if (now > catchUpLimit && entry.nominal < now - catchUpLimit)
        entry.nominal = now - (now - entry.nominal) % entry.period;
    pushNode(entry.nominal, index);
}

std::optional<HostTime> TaskSchedule::nextDeadline() const {
    if (order.empty()) return std::nullopt;
    return order.front().time;
}

void TaskSchedule::addChunk() {
    const std::uint32_t start = capacity();
    chunks.push_back(std::make_unique<Chunk>());
    for (std::uint32_t index = start + chunkSize; index-- > start;) {
        entryAt(index).nextFree = firstFree;
        firstFree = index;
    }
}

void TaskSchedule::pushNode(HostTime time, std::uint32_t index) {
    order.push_back({time, nextSequence++, index, entryAt(index).generation});
    std::push_heap(order.begin(), order.end());
}

void TaskSchedule::popNode() {
    std::pop_heap(order.begin(), order.end());
    order.pop_back();
}

void TaskSchedule::callOff(std::uint32_t index, Task& ended) {
    if (index == running) {
        isRunStopped = true;
        return;
    }
    release(index, ended);
    ++staleNodes;
    if (staleNodes > 64 + order.size() / 2) removeStaleNodes();
}

void TaskSchedule::release(std::uint32_t index, Task& ended) {
    Entry& entry = entryAt(index);
    ended = std::move(entry.task);
    entry.owner = nullptr;
    entry.isFree = true;
    // 0 is left out, so that ticket 0 stands for nothing.
    if (++entry.generation == 0) entry.generation = 1;
    entry.nextFree = firstFree;
    firstFree = index;
    --living;
}

void TaskSchedule::removeStaleNodes() {
    std::erase_if(order, [this](const Node& node) { return isStale(node); });
    std::make_heap(order.begin(), order.end());
    staleNodes = 0;
}

}  // namespace varnolex
