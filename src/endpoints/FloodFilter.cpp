#include "endpoints/FloodFilter.hpp"

#include <algorithm>
#include <string>

#include "platform/DiagnosticLog.hpp"
#include "platform/VarnolexLogger.hpp"

namespace varnolex {

namespace {

SharedName nameOf(const MessageRef& message, SharedName unknown) {
    const SharedName name = message->originatingEndpointName;
    return name ? name : unknown;
}

void note(std::string_view tag, SharedName name, const std::string& what) {
    std::string line(tag);
    line += name.view();
    line += what;
    VarnolexLogger::shared().log(line);
}

}  // namespace

const MessageList& FloodFilter::filter(const MessageList& batch, MessageList& room) {
    if (isAllMuted(batch)) return room;
    ++batchCounter;
    findGroups(batch);
    const HostTime now = Runtime::current().hostTime();
    bool isWhole = runs.size() == groups.size();
    for (Group& group : groups) {
        group.passing = passingOf(group, now);
        isWhole = isWhole && group.passing == group.count;
    }
    if (isWhole) return batch;
    gather(batch, room);
    return room;
}

/// The cheap way out for a loop that was muted.
bool FloodFilter::isAllMuted(const MessageList& batch) const {
    if (muted.empty()) return false;
    static const SharedName empty("");
    SharedName latest;
    return std::ranges::all_of(batch, [&](const MessageRef& message) {
        const SharedName name = message->originatingEndpointName ? message->originatingEndpointName : empty;
        if (name == latest) return true;
        latest = name;
        return muted.contains(name);
    });
}

void FloodFilter::findGroups(const MessageList& batch) {
    groups.clear();
    runs.clear();
    groupIndices.clear();
    static const SharedName unknown("Unknown");
    for (std::size_t begin = 0; begin < batch.size();) {
        const SharedName name = nameOf(batch[begin], unknown);
        std::size_t end = begin + 1;
        while (end < batch.size() && nameOf(batch[end], unknown) == name) ++end;
        const std::size_t group = groupNamed(name);
        groups[group].count += end - begin;
        runs.push_back({group, begin, end});
        begin = end;
    }
}

std::size_t FloodFilter::groupNamed(SharedName name) {
    const auto [known, isNew] = groupIndices.try_emplace(name, groups.size());
    if (isNew) groups.push_back({.name = name});
    return known->second;
}

std::size_t FloodFilter::passingOf(const Group& group, HostTime now) {
    if (!muted.empty() && muted.contains(group.name)) {
        if (DiagnosticLog* const recorder = DiagnosticLog::shared())
            recorder->mutedDrop(group.name.view(), group.count);
        return 0;
    }
    const auto [known, isNew] = states.try_emplace(group.name, FloodEndpointState{.windowStart = now});
    FloodEndpointState& endpoint = known->second;
    const HostTime elapsed = now > endpoint.windowStart ? now - endpoint.windowStart : 0;
    if (elapsed >= static_cast<HostTime>(window.count())) closeWindow(endpoint, group.name, now);
    endpoint.messageCount += group.count;
    if (!endpoint.isFlooding) return group.count;
    if (endpoint.lastSampledBatch == batchCounter) {
        note("[FLOOD-DROP] ", group.name,
             ": dropped all " + std::to_string(group.count) + " msgs (already sampled batch " +
                 std::to_string(batchCounter) + ")");
        return 0;
    }
    endpoint.lastSampledBatch = batchCounter;
    note("[FLOOD-SAMPLE] ", group.name,
         ": passed 1/" + std::to_string(group.count) + " msgs (batch " + std::to_string(batchCounter) + ")");
    return 1;
}

void FloodFilter::closeWindow(FloodEndpointState& endpoint, SharedName name, HostTime now) {
    const bool isLoud = endpoint.messageCount >= loudWindow;
    int& inARow = endpoint.isFlooding ? endpoint.clearCount : endpoint.sustainCount;
    inARow = isLoud == endpoint.isFlooding ? 0 : inARow + 1;
    if (endpoint.isFlooding && inARow == quietWindowsToLeave)
        leaveFlood(endpoint, name);
    else if (!endpoint.isFlooding && inARow == loudWindowsToEnter)
        enterFlood(endpoint, name);
    endpoint.messageCount = 0;
    endpoint.windowStart = now;
}

void FloodFilter::enterFlood(FloodEndpointState& endpoint, SharedName name) {
    endpoint.isFlooding = true;
    endpoint.sustainCount = 0;
    flooding.insert(name);
    if (DiagnosticLog* const recorder = DiagnosticLog::shared()) recorder->floodEntered(name.view(), flooding.size());
    note("[FLOOD] ", name,
         " entered flood mode (" + std::to_string(loudWindowsToEnter) + " sustained windows @ " +
             std::to_string(loudWindow) + "+msgs/" +
             std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(window).count()) + "ms)");
}

void FloodFilter::leaveFlood(FloodEndpointState& endpoint, SharedName name) {
    endpoint.isFlooding = false;
    endpoint.clearCount = 0;
    flooding.erase(name);
    if (DiagnosticLog* const recorder = DiagnosticLog::shared()) recorder->floodLeft(name.view(), flooding.size());
    note("[FLOOD] ", name, " exited flood mode");
}

void FloodFilter::gather(const MessageList& batch, MessageList& passed) {
    std::size_t total = 0;
    for (Group& group : groups) {
        group.place = total;
        total += group.passing;
    }
    passed.resize(total);
    for (const Run& run : runs) {
        Group& group = groups[run.group];
        const std::size_t taken = std::min(group.passing, run.end - run.begin);
        for (std::size_t index = 0; index < taken; ++index) passed[group.place++] = batch[run.begin + index];
        group.passing -= taken;
    }
}

void FloodFilter::release(SharedName name) {
    muted.erase(name);
    states.erase(name);
    flooding.erase(name);
}

void FloodFilter::reset() {
    states.clear();
    flooding.clear();
    muted.clear();
    batchCounter = 0;
}

const FloodEndpointState* FloodFilter::state(SharedName name) const {
    const auto known = states.find(name);
    return known != states.end() ? &known->second : nullptr;
}

}  // namespace varnolex
