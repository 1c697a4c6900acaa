#include "cli/live/LiveBinding.hpp"

#include <algorithm>

#include "cli/live/EndpointChoice.hpp"

namespace varnolex {
namespace {

/// Whether settings name an endpoint of the system or a virtual port, rather than none.
template <class Settings>
bool namesEndpoint(const Settings& settings) {
    return settings.endpointUniqueID || (!settings.endpointName.empty() && settings.endpointName != "None");
}

}  // namespace

LiveBinding::LiveBinding(const Modular& modular, MIDIManager& directory, const Choice& choice,
                         std::function<void(const std::string&)> tell)
    : manager(directory), report(std::move(tell)), portsOfThisRun({}), ports(portsOfThisRun) {
    ports.setClient(manager.clientRef());
    for (const auto& node : modular.nodes) {
        if (auto input = std::dynamic_pointer_cast<MidiInTool>(node->tool)) addInput(std::move(input), choice.input);
        if (auto output = std::dynamic_pointer_cast<MidiOutTool>(node->tool))
            addOutput(std::move(output), choice.output);
    }
    manager.refresh();
    update();
}

void LiveBinding::addInput(std::shared_ptr<MidiInTool> tool, const std::optional<std::string>& chosen) {
    const MidiInSettings& stored = tool->settings();
    if (namesEndpoint(stored) && !stored.selectedVirtualInputID) {
        ends.push_back({tool, nullptr, stored.endpointUniqueID, stored.endpointName});
        return;
    }
    if (chosen && !stored.selectedVirtualInputID) {
        const MIDISourceInfo source = chooseSource(manager.sources(), *chosen);
        ends.push_back({tool, nullptr, source.uniqueID, source.displayName});
        return;
    }
    const std::string name = stored.selectedVirtualInputID ? stored.endpointName : unusedPortName(tool->name());
    tool->connectToVirtualInput(ports.addInput(name));
    report("\"" + tool->name() + "\" hears what others send to \"" + name + "\"");
}

void LiveBinding::addOutput(std::shared_ptr<MidiOutTool> tool, const std::optional<std::string>& chosen) {
    outputs.push_back(tool);
    const MidiOutSettings& stored = tool->settings();
    const bool isVirtual = stored.selectedVirtualOutputID || tool->needsVirtualOutputMigration();
    if (namesEndpoint(stored) && !isVirtual) {
        ends.push_back({nullptr, tool, stored.endpointUniqueID, stored.endpointName});
        return;
    }
    if (chosen && !isVirtual) {
        const MIDIDestinationInfo destination = chooseDestination(manager.destinations(), *chosen);
        ends.push_back({nullptr, tool, destination.uniqueID, destination.displayName});
        return;
    }
    const std::string name = stored.selectedVirtualOutputID ? stored.endpointName : unusedPortName(tool->name());
    tool->connectToVirtualOutput(ports.addOutput(name));
    report("\"" + tool->name() + "\" plays on \"" + name + "\", which others may listen to");
}

void LiveBinding::update() {
    for (End& end : ends) end.input ? update(end, manager.sources()) : update(end, manager.destinations());
}

template <class Info>
void LiveBinding::update(End& end, const std::vector<Info>& endpoints) {
    auto found = std::ranges::find_if(endpoints, [&](const Info& info) { return info.uniqueID == end.uniqueID; });
    if (found == endpoints.end()) found = std::ranges::find(endpoints, end.endpointName, &Info::displayName);
    const MIDIEndpointRef there = found == endpoints.end() ? 0 : found->endpointRef;
    if (there == end.attached) return;
    const bool wasAttached = std::exchange(end.attached, there).value_or(0) != 0;
    there == 0 ? detach(end) : attach(end, found->uniqueID);
    // What is held down at a source that has gone would sound on, and nobody is left to let go of it.
    if (wasAttached && end.input) end.input->endSoundingNotes();
    if (there == 0) {
        report("\"" + end.name() + "\" waits for \"" + end.endpointName + (wasAttached ? "\", which has gone" : "\""));
        return;
    }
    report("\"" + end.name() + (end.input ? "\" hears \"" : "\" plays on \"") + found->displayName + "\"");
}

void LiveBinding::attach(End& end, std::int32_t uniqueID) {
    if (end.input)
        end.input->connectToSource(uniqueID);
    else
        end.output->connectToDestination(uniqueID);
}

void LiveBinding::detach(End& end) {
    if (end.input)
        end.input->disconnectSource();
    else
        end.output->releaseDestination();
}

std::string LiveBinding::unusedPortName(const std::string& name) const {
    const auto isUsed = [&](const std::string& candidate) {
        const auto has = [&](const auto& port) { return port->name() == candidate; };
        return std::ranges::any_of(ports.inputs(), has) || std::ranges::any_of(ports.outputs(), has);
    };
    std::string candidate = name;
    for (int number = 2; isUsed(candidate); ++number) candidate = name + " " + std::to_string(number);
    return candidate;
}

}  // namespace varnolex
