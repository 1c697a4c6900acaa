#include "engine/LiveValueTracker.hpp"

#include "engine/PipeTool.hpp"

namespace varnolex {
namespace {

// Displays ask for values younger than a second; the redraw comes just after the last one has left that span.
constexpr Nanoseconds redrawAfter = std::chrono::milliseconds(1050);

std::string keyOf(const UUID& toolID, std::string_view portID) { return toolID.text() + ":" + std::string(portID); }

}  // namespace

LiveValueTracker& LiveValueTracker::shared() {
    static LiveValueTracker tracker;
    return tracker;
}

void LiveValueTracker::record(const UUID& toolID, std::string_view portID, double value) {
    Runtime& runtime = Runtime::current();
    updates[keyOf(toolID, portID)] = {value, runtime.hostTime()};
    ++revisions;
    expirationTimer.cancel();
    expirationTimer = runtime.mainQueue().after(redrawAfter, [this] { ++revisions; });
}

std::optional<double> LiveValueTracker::recentValue(const UUID& toolID, std::string_view portID,
                                                    Nanoseconds maxAge) const {
    const auto found = updates.find(keyOf(toolID, portID));
    if (found == updates.end()) return std::nullopt;
    const HostTime age = Runtime::current().hostTime() - found->second.at;
    if (age >= static_cast<HostTime>(maxAge.count())) return std::nullopt;
    return found->second.value;
}

void postLiveValue(PipeTool& tool, std::string_view key, double value) noexcept {
    Runtime::current().postToMain([weakTool = tool.weak_from_this(), key, value] {
        const auto target = weakTool.lock();
        if (!target) return;
        target->setLiveValue(value, key);
        LiveValueTracker::shared().record(target->id(), key, value);
    });
}

}  // namespace varnolex
