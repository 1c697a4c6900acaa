#include "studio/GraphSnapshot.hpp"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "engine/Catalogue.hpp"
#include "platform/Runtime.hpp"
#include "studio/NodeSize.hpp"
#include "studio/ToolRecord.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex {
namespace {

constexpr std::string_view chainsMode = "chains";
constexpr std::string_view modularMode = "modular";

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

ModularDocument::NodeSnapshot makeSnapshot(const ModularNode& node) {
    const PipeTool& tool = *node.tool;
    return {.id = node.id,
            .toolType = std::string(toolKind(tool.toolType()).rawValue),
            .name = tool.name(),
            .isEnabled = tool.isEnabled(),
            .position = node.position,
            .size = node.size,
            .configData = encodeConfig(tool),
            .ccBindings = CCBindingStore::shared().bindings(tool.id())};
}

/// Default names that message lists had in earlier versions.
std::string currentName(PipeToolType type, const std::string& name) {
    if (type == PipeToolType::messageList)
        for (const std::string_view old : {"Msg List", "Activity"})
            if (name.starts_with(old)) return "Monitor" + name.substr(old.size());
    return name;
}

/// Fills one graph from a snapshot.
class Restoration {
public:
    Restoration(const ModularDocument::ModularSnapshot& source, DocumentFindings& report, CCBindingStore::Map& store)
        : snapshot(source), findings(report), bindings(store) {}

    std::shared_ptr<Modular> restore() {
        modular = std::make_shared<Modular>(snapshot.id, snapshot.name);
        modular->nodes.reserve(snapshot.nodes.size());
        for (const auto& node : snapshot.nodes) restoreNode(node);
        restoreCables(snapshot.connections, modular->connections, "MIDI cable");
        restoreCables(snapshot.valueConnections, modular->valueConnections, "value cable");
        restoreDisplay();
        return std::move(modular);
    }

private:
    void restoreNode(const ModularDocument::NodeSnapshot& stored) {
        const auto type = toolTypeFromRawValue(stored.toolType);
        if (!type) {
            findings.dropped.push_back("The node " + quoted(stored.name) + " of " + quoted(snapshot.name) +
                                       " is of the unknown kind " + quoted(stored.toolType) + ".");
            return;
        }
        auto node = std::make_shared<ModularNode>();
        node->id = idFor(stored);
        node->tool = restoreTool(*type, stored);
        node->position = stored.position;
        node->size = restoredNodeSize(*type, node->tool->name(), stored.size);
        modular->nodes.push_back(std::move(node));
    }

    UUID idFor(const ModularDocument::NodeSnapshot& stored) {
        if (present.insert(stored.id).second) return stored.id;
        findings.dropped.push_back("The node " + quoted(stored.name) + " of " + quoted(snapshot.name) +
                                   " has the id of an earlier one and gets another, without cables.");
        return Runtime::current().makeUUID();
    }

    std::shared_ptr<PipeTool> restoreTool(PipeToolType type, const ModularDocument::NodeSnapshot& stored) {
        auto tool = makeTool(type);
        tool->setName(currentName(type, stored.name));
        tool->setEnabled(stored.isEnabled);
        if (stored.configData)
            if (const auto reason = tryApplyConfig(*stored.configData, *tool)) {
                findings.undecodable.push_back("The node " + quoted(stored.name) + " of " + quoted(snapshot.name) +
                                               " has the settings of a new one: " + *reason + ".");
                findings.logLines.push_back(decodeFailure(*tool, *reason));
            }
        if (!stored.ccBindings.empty()) bindings[tool->id()] = stored.ccBindings;
        return tool;
    }

    /// Nothing else is asked of a cable: a file may hold what the editor would refuse.
    template <class Cable>
    void restoreCables(const std::vector<Cable>& stored, std::vector<Cable>& restored, std::string_view what) {
        std::ranges::copy_if(stored, std::back_inserter(restored), [&](const Cable& cable) {
            return present.contains(cable.sourceNodeID) && present.contains(cable.targetNodeID);
        });
        const std::size_t lost = stored.size() - restored.size();
        if (lost == 0) return;
        findings.dropped.push_back(std::to_string(lost) + ' ' + std::string(what) + (lost == 1 ? "" : "s") + " of " +
                                   quoted(snapshot.name) + (lost == 1 ? " ends" : " end") +
                                   " at a node that isn't there.");
    }

    void restoreDisplay() {
        if (snapshot.canvasPanX && snapshot.canvasPanY)
            modular->canvasPan = {*snapshot.canvasPanX, *snapshot.canvasPanY};
        modular->canvasZoom = snapshot.canvasZoom.value_or(modular->canvasZoom);
        if (snapshot.displayMode == chainsMode) modular->displayMode = Modular::DisplayMode::chains;
        if (snapshot.displayMode == modularMode) modular->displayMode = Modular::DisplayMode::modular;
        modular->chainOrder = snapshot.chainOrder;
        modular->expandedNodeIDs = {snapshot.expandedNodeIDs.begin(), snapshot.expandedNodeIDs.end()};
    }

    const ModularDocument::ModularSnapshot& snapshot;
    DocumentFindings& findings;
    CCBindingStore::Map& bindings;
    std::shared_ptr<Modular> modular;
    std::unordered_set<UUID> present;
};

}  // namespace

ModularDocument::ModularSnapshot makeSnapshot(const Modular& modular) {
    ModularDocument::ModularSnapshot snapshot;
    snapshot.id = modular.id;
    snapshot.name = modular.name;
    snapshot.nodes.reserve(modular.nodes.size());
    for (const auto& node : modular.nodes) snapshot.nodes.push_back(makeSnapshot(*node));
    snapshot.connections = modular.connections;
    snapshot.valueConnections = modular.valueConnections;
    snapshot.canvasPanX = modular.canvasPan.x;
    snapshot.canvasPanY = modular.canvasPan.y;
    snapshot.canvasZoom = modular.canvasZoom;
    snapshot.displayMode = modular.displayMode == Modular::DisplayMode::chains ? chainsMode : modularMode;
    snapshot.chainOrder = modular.chainOrder;
    snapshot.expandedNodeIDs = {modular.expandedNodeIDs.begin(), modular.expandedNodeIDs.end()};
    return snapshot;
}

std::shared_ptr<Modular> restoreModular(const ModularDocument::ModularSnapshot& snapshot, DocumentFindings& findings) {
    CCBindingStore::Map bindings = CCBindingStore::shared().bindings();
    auto modular = restoreModular(snapshot, findings, bindings);
    CCBindingStore::shared().setBindings(std::move(bindings));
    return modular;
}

std::shared_ptr<Modular> restoreModular(const ModularDocument::ModularSnapshot& snapshot, DocumentFindings& findings,
                                        CCBindingStore::Map& bindings) {
    return Restoration(snapshot, findings, bindings).restore();
}

ModularDocument::ModularSnapshot withFreshIDs(ModularDocument::ModularSnapshot snapshot) {
    Runtime& runtime = Runtime::current();
    std::unordered_map<UUID, UUID> freshIDs;
    snapshot.id = runtime.makeUUID();
    for (auto& node : snapshot.nodes) {
        const UUID fresh = runtime.makeUUID();
        if (toolTypeFromRawValue(node.toolType)) freshIDs.try_emplace(node.id, fresh);
        node.id = fresh;
    }
    // An end that isn't in the map becomes one that no node has, so that the cable is dropped and counted.
    const auto replaceEnds = [&](auto& cables) {
        for (auto& cable : cables) {
            cable.id = runtime.makeUUID();
            cable.sourceNodeID = freshIDs[cable.sourceNodeID];
            cable.targetNodeID = freshIDs[cable.targetNodeID];
        }
    };
    const auto replaceListed = [&](std::vector<UUID>& ids) {
        std::erase_if(ids, [&](const UUID& id) { return !freshIDs.contains(id); });
        for (UUID& id : ids) id = freshIDs[id];
    };
    replaceListed(snapshot.chainOrder);
    replaceListed(snapshot.expandedNodeIDs);
    replaceEnds(snapshot.connections);
    replaceEnds(snapshot.valueConnections);
    return snapshot;
}

}  // namespace varnolex
