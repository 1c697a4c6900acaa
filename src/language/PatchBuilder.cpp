#include "language/PatchBuilder.hpp"

#include <set>

#include "engine/Catalogue.hpp"
#include "language/CompiledPatchJSON.hpp"
#include "language/DSLCompiler.hpp"
#include "language/PatchLayout.hpp"
#include "platform/Runtime.hpp"
#include "studio/CableRules.hpp"
#include "studio/ConnectionError.hpp"
#include "studio/NodeSize.hpp"
#include "studio/ToolRecord.hpp"
#include "studio/WiringPlan.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex {
namespace {

class Builder {
public:
    Builder(const DSLCompiler& compiled, std::string name)
        : program(compiled), patch{std::make_shared<Modular>(Runtime::current().makeUUID(), std::move(name)), {}} {}

    BuiltPatch build() {
        for (const DSLCompiledNode& node : program.nodes) addNode(node);
        for (const DSLConnection& cable : program.connections) addCable(cable);
        for (const DSLValueConnection& cable : program.valueConnections) addValueCable(cable);
        refuseCircles();
        layOutLeftToRight(*patch.modular);
        return std::move(patch);
    }

private:
    void addNode(const DSLCompiledNode& compiled) {
        const auto type = toolTypeFromRawValue(compiled.toolType);
        if (!type) throw PatchBuildError("there is no tool kind \"" + compiled.toolType + "\"");
        auto node = std::make_shared<ModularNode>();
        node->id = Runtime::current().makeUUID();
        node->tool = makeTool(*type);
        node->size = newNodeSize(*type, node->tool->name());
        // Also without a single parameter: what a text leaves out takes the record's default, not a new tool's setting.
        if (const auto fault = tryApplyConfig(compiledConfigJSON(compiled.config), *node->tool))
            patch.refusedConfigs.push_back(std::string(toolKind(*type).displayName) + ": " + *fault);
        patch.modular->nodes.push_back(std::move(node));
    }

    // The rules are those of an edit by hand; testing all cables together keeps a large text from taking the time of a
    // rebuild for each.

    void addCable(const DSLConnection& cable) {
        const ModularNode& source = nodeAt(cable.from);
        const ModularNode& target = nodeAt(cable.to);
        try {
            requireMIDIPorts(source, target);
            if (!cables.emplace(cable.from, cable.to).second) throw ConnectionError(ConnectionError::Reason::duplicate);
        } catch (const ConnectionError& reason) {
            refuse(reason, source, target);
        }
        patch.modular->connections.push_back({Runtime::current().makeUUID(), source.id, target.id});
    }

    void addValueCable(const DSLValueConnection& cable) {
        const ModularNode& source = nodeAt(cable.from);
        const ModularNode& target = nodeAt(cable.to);
        try {
            requireValuePorts(source, target, cable.portID);
            if (!ports.emplace(cable.to, cable.portID).second)
                throw ValueConnectionError(ValueConnectionError::Reason::portOccupied);
        } catch (const ValueConnectionError& reason) {
            refuse(reason, source, target);
        }
        patch.modular->valueConnections.push_back({Runtime::current().makeUUID(), source.id, target.id, cable.portID});
    }

    void refuseCircles() const {
        const Modular& modular = *patch.modular;
        const WiringPlan plan(modular);
        for (const std::size_t silent : plan.silentConnections()) {
            const ModularNode& source = nodeAt(program.connections[silent].from);
            const ModularNode& target = nodeAt(program.connections[silent].to);
            if (modular.wouldCreateCycle(source.id, target.id))
                refuse(ConnectionError(ConnectionError::Reason::wouldCycle), source, target);
            throw PatchBuildError("A chain has more than " + std::to_string(WiringPlan::longestWalk) + " nodes");
        }
        for (const std::size_t silent : plan.silentValueConnections())
            refuse(ValueConnectionError(ValueConnectionError::Reason::wouldCycle),
                   nodeAt(program.valueConnections[silent].from), nodeAt(program.valueConnections[silent].to));
    }

    const ModularNode& nodeAt(std::size_t index) const { return *patch.modular->nodes[index]; }

    [[noreturn]] static void refuse(const std::runtime_error& reason, const ModularNode& source,
                                    const ModularNode& target) {
        throw PatchBuildError(std::string(reason.what()) + " (" + source.tool->name() + " -> " + target.tool->name() +
                              ")");
    }

    const DSLCompiler& program;
    BuiltPatch patch;
    std::set<std::pair<std::size_t, std::size_t>> cables;
    std::set<std::pair<std::size_t, std::string>> ports;
};

}  // namespace

BuiltPatch buildPatch(const DSLCompiler& program, std::string name) {
    return Builder(program, std::move(name)).build();
}

}  // namespace varnolex
