#include "studio/ValueWiring.hpp"

#include <set>
#include <unordered_map>

#include "engine/LiveValueTracker.hpp"
#include "engine/ValueProducer.hpp"
#include "platform/Runtime.hpp"
#include "studio/Modular.hpp"
#include "studio/WiringPlan.hpp"

namespace varnolex {
namespace {

/// One end of a value cable: a tool that calculates takes the number on the producer's thread, one that is ridden
/// takes it on the main thread.
struct ValueTarget {
    std::shared_ptr<PipeTool> tool;
    std::string portID;
    ValueReceiver* receiver;
    std::string_view liveKey;

    static ValueTarget of(const std::shared_ptr<PipeTool>& tool, const std::string& portID) {
        return {tool, portID, tool->valueReceiver(), tool->liveKey(portID)};
    }

    /// A number that is still on its way to the main thread when the cables change goes nowhere: its cable may have
    /// gone, and a cable that stays brings the present number anyway.
    void takeAnywhere(double value, const std::weak_ptr<const ValueWiring>& wiring) const {
        if (receiver)
            receiver->receive(value, portID);
        else if (!liveKey.empty())
            Runtime::current().postToMain([wiring, weakTool = std::weak_ptr(tool), key = liveKey, value] {
                const auto ridden = weakTool.lock();
                if (ridden && !wiring.expired()) ride(*ridden, key, value);
            });
    }

    void takeOnMain(double value) const {
        if (receiver) {
            receiver->receive(value, portID);
        } else if (!liveKey.empty()) {
            ride(*tool, liveKey, value);
        }
    }

    static void ride(PipeTool& tool, std::string_view key, double value) {
        tool.setLiveValue(value, key);
        LiveValueTracker::shared().record(tool.id(), key, value);
    }
};

class GroupDelivery final : public ValueDelivery {
public:
    GroupDelivery(std::vector<ValueTarget> group, std::weak_ptr<const ValueWiring> current)
        : targets(std::move(group)), wiring(std::move(current)) {}

    void deliver(double value) const noexcept override {
        for (const ValueTarget& target : targets) target.takeAnywhere(value, wiring);
    }

private:
    const std::vector<ValueTarget> targets;
    const std::weak_ptr<const ValueWiring> wiring;
};

void clearUncabledPorts(const Modular& modular) {
    std::set<std::pair<UUID, std::string_view>> occupied;
    for (const ValueConnection& cable : modular.valueConnections)
        occupied.emplace(cable.targetNodeID, cable.targetPortID);
    for (const auto& node : modular.nodes) {
        if (!node->tool->takesLiveValues()) continue;
        for (const ValuePort& port : node->tool->valuePorts())
            if (!occupied.contains({node->id, port.id})) node->tool->setLiveValue(std::nullopt, port.id);
    }
}

}  // namespace

void wireValues(Modular& modular) {
    modular.valueWiring = std::make_shared<ValueWiring>();
    clearUncabledPorts(modular);

    const WiringPlan plan(modular);
    std::unordered_map<UUID, std::shared_ptr<PipeTool>> tools;
    for (const auto& node : modular.nodes) tools[node->id] = node->tool;
    std::unordered_map<UUID, std::vector<ValueTarget>> groups;
    for (const ValueConnection& cable : modular.valueConnections) {
        const auto target = tools.find(cable.targetNodeID);
        if (target != tools.end() && plan.carries(cable))
            groups[cable.sourceNodeID].push_back(ValueTarget::of(target->second, cable.targetPortID));
    }

    std::vector<std::pair<ValueProducer*, std::vector<ValueTarget>>> wired;
    for (const auto& node : modular.nodes) {
        ValueProducer* producer = node->tool->valueProducer();
        if (!producer) continue;
        std::vector<ValueTarget>& group = groups[node->id];
        producer->setOnValueChanged(group.empty() ? nullptr
                                                  : std::make_unique<GroupDelivery>(group, modular.valueWiring));
        if (!group.empty()) wired.emplace_back(producer, std::move(group));
    }
    for (const auto& [producer, group] : wired)
        for (const ValueTarget& target : group) target.takeOnMain(producer->outputValue());
}

void unwireValues(PipeTool& tool) {
    if (ValueProducer* producer = tool.valueProducer()) producer->setOnValueChanged(nullptr);
}

}  // namespace varnolex
