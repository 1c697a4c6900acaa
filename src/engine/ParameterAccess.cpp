#include "engine/ParameterAccess.hpp"

namespace varnolex {
namespace {

const Parameter& parameterNamed(const ToolDefinition& definition, std::string_view key) {
    if (const Parameter* row = findParameter(definition, key)) return *row;
    throw ParameterError("there is no parameter \"" + std::string(key) + "\"");
}

}  // namespace

const Parameter* findParameter(const ToolDefinition& definition, std::string_view key) {
    for (const Parameter& row : definition.parameters)
        if (!row.key.empty() && row.key == key) return &row;
    return nullptr;
}

ParameterValue parameterOf(const PipeTool& tool, std::string_view key) {
    const Parameter& row = parameterNamed(tool.definition(), key);
    ParameterValue value;
    tool.viewSettings(SettingsBase::current, [&](const void* settings) { value = row.read(settings); });
    return value;
}

void setParameters(PipeTool& tool, std::span<const ParameterAssignment> assignments) {
    tool.editSettings(SettingsBase::current, [&](void* settings) {
        for (const auto& [key, value] : assignments) {
            const Parameter& row = parameterNamed(tool.definition(), key);
            row.write(settings, value, row);
        }
    });
}

void setParameter(PipeTool& tool, std::string_view key, ParameterValue value) {
    const ParameterAssignment assignment{key, std::move(value)};
    setParameters(tool, {&assignment, 1});
}

}  // namespace varnolex
