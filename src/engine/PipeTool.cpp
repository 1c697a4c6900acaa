#include "engine/PipeTool.hpp"

#include <algorithm>

#include "engine/Catalogue.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {
namespace {

std::vector<ValuePort> portsIn(std::span<const Parameter> table) {
    std::vector<const Parameter*> rows;
    for (const Parameter& row : table)
        if (row.valuePort) rows.push_back(&row);
    std::ranges::stable_sort(rows, {}, &Parameter::portPlace);
    std::vector<ValuePort> ports;
    for (const Parameter* row : rows) ports.push_back(*row->valuePort);
    return ports;
}

}  // namespace

ToolDefinition::ToolDefinition(PipeToolType kind, std::string_view recordName, std::span<const Parameter> table,
                               Make maker)
    : type(kind), record(recordName), parameters(table), make(maker), ports(portsIn(table)) {}

PipeTool::PipeTool(const ToolDefinition& kindDefinition)
    : kind(kindDefinition),
      identity(Runtime::current().makeUUID()),
      shownName(toolKind(kindDefinition.type).defaultName) {}

void PipeTool::setName(std::string name) {
    shownName = std::move(name);
    nameDidChange();
}

void PipeTool::setEnabled(bool isOn) {
    if (enabled.exchange(isOn) != isOn) enabledDidChange(isOn);
}

std::optional<ValuePort> PipeTool::port(std::string_view portID) const {
    const auto found = std::ranges::find(kind.ports, portID, &ValuePort::id);
    if (found == kind.ports.end()) return std::nullopt;
    return *found;
}

}  // namespace varnolex
