#include "tools/StandInTool.hpp"

#include <map>

#include "engine/ToolChain.hpp"

namespace varnolex {
namespace {

const ToolDefinition& placeholderDefinition(PipeToolType type) {
    static std::map<PipeToolType, std::unique_ptr<const ToolDefinition>> made;
    auto& definition = made[type];
    if (!definition)
        definition =
            std::make_unique<const ToolDefinition>(type, std::string_view{}, std::span<const Parameter>{}, nullptr);
    return *definition;
}

}  // namespace

StandInTool::StandInTool(PipeToolType type) : PipeTool(placeholderDefinition(type)) {}

void StandInTool::process(const ChainMessage& message, ToolChain& chain) { chain.forward(message); }

std::optional<ValuePort> StandInTool::port(std::string_view portID) const {
    const std::string& name = *portNames.emplace(portID).first;
    return ValuePort{name, name, 0, 127};
}

}  // namespace varnolex
