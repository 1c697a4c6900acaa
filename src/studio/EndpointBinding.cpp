#include "studio/EndpointBinding.hpp"

#include <algorithm>

#include "endpoints/VirtualPortManager.hpp"
#include "tools/endpoints/MidiInTool.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex {
namespace {

template <class Port>
std::shared_ptr<Port> findPort(const std::vector<std::shared_ptr<Port>>& ports, std::optional<std::int32_t> uniqueID,
                               const std::string& name) {
    const auto hasID = [&](const auto& port) { return port->uniqueID() == uniqueID; };
    if (const auto found = std::ranges::find_if(ports, hasID); found != ports.end()) return *found;
    const auto hasName = [&](const auto& port) { return port->name() == name; };
    const auto found = std::ranges::find_if(ports, hasName);
    return found == ports.end() ? nullptr : *found;
}

/// Earlier versions called what others send to an output: "Virtual Output 2" was today's "Virtual Input 2".
std::string nameAsInput(const std::string& name) {
    constexpr std::string_view old = "Virtual Output ";
    const bool isNumbered = name.size() > old.size() && name.starts_with(old) &&
                            name.find_first_not_of("0123456789", old.size()) == std::string::npos;
    return isNumbered ? "Virtual Input " + name.substr(old.size()) : name;
}

void attach(MidiInTool& tool, const VirtualPortManager* ports) {
    const MidiInSettings& stored = tool.settings();
    if (!stored.selectedVirtualInputID) return tool.bindStoredEndpoint();
    if (!ports) return;
    auto port = findPort(ports->inputs(), stored.selectedVirtualInputID, stored.endpointName);
    if (!port) port = findPort(ports->inputs(), std::nullopt, nameAsInput(stored.endpointName));
    if (port) tool.connectToVirtualInput(port);
}

void attach(MidiOutTool& tool, VirtualPortManager* ports) {
    const MidiOutSettings& stored = tool.settings();
    if (!stored.selectedVirtualOutputID && !tool.needsVirtualOutputMigration()) return tool.bindStoredEndpoint();
    if (!ports) return;
    auto port = findPort(ports->outputs(), stored.selectedVirtualOutputID, stored.endpointName);
    if (!port && tool.needsVirtualOutputMigration()) port = ports->addOutput();
    if (port) tool.connectToVirtualOutput(port);
}

}  // namespace

void bindEndpoints(const Modular& modular, VirtualPortManager* ports) {
    for (const auto& node : modular.nodes) {
        if (auto* input = dynamic_cast<MidiInTool*>(node->tool.get())) attach(*input, ports);
        if (auto* output = dynamic_cast<MidiOutTool*>(node->tool.get())) attach(*output, ports);
    }
}

}  // namespace varnolex
