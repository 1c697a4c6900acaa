#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <variant>

#include "engine/Catalogue.hpp"
#include "language/CompiledPatchJSON.hpp"
#include "language/DSLCompiler.hpp"
#include "language/ParameterCases.hpp"
#include "platform/VirtualRuntime.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex {
namespace {

DSLCompiler compiled(std::string_view text) {
    DSLCompiler compiler;
    compiler.compile(text);
    return compiler;
}

TEST(CallParameters, fillTheConfigurationOfTheirNode) {
    for (const auto& [text, config] : parameterCases) {
        const auto program = compiled(text);
        ASSERT_EQ(program.nodes.size(), 1u) << text;
        EXPECT_EQ(compiledConfigJSON(program.nodes[0].config), config) << text;
    }
}

bool suits(const ConfigValue& value, const Parameter& row) {
    switch (row.shape) {
        case ParameterShape::toggle:
            return std::holds_alternative<bool>(value);
        case ParameterShape::real:
            return std::holds_alternative<double>(value);
        case ParameterShape::text:
            return std::holds_alternative<std::string>(value);
        case ParameterShape::list:
            return std::holds_alternative<std::vector<std::int64_t>>(value);
        case ParameterShape::choice: {
            const auto* text = std::get_if<std::string>(&value);
            return text && std::ranges::find(row.choices, *text) != row.choices.end();
        }
        default:
            return std::holds_alternative<std::int64_t>(value);
    }
}

// "virtual" is the language's own word; no record knows it.
bool isRecordKey(std::string_view key) { return key != "virtual"; }

void expectRecordTakes(const DSLCompiledNode& node, std::string_view text) {
    const auto kind = toolTypeFromRawValue(node.toolType);
    ASSERT_TRUE(kind) << node.toolType;
    const ToolDefinition& definition = toolDefinition(*kind);
    for (const auto& [key, value] : node.config) {
        if (!isRecordKey(key)) continue;
        const auto row = std::ranges::find(definition.parameters, key, &Parameter::key);
        ASSERT_NE(row, definition.parameters.end()) << text << ": " << node.toolType << " has no key " << key;
        EXPECT_TRUE(suits(value, *row)) << text << ": " << key;
    }
}

TEST(CompiledConfigurations, speakTheKeysAndTypesOfTheToolRecords) {
    for (const auto& row : parameterCases) expectRecordTakes(compiled(row.text).nodes[0], row.text);
    for (const auto* text :
         {"velmod($counter(1, 4, cc64) > 3 ? 1 : 0)", "velmod($CC(1) * 2 + 10)", "velmod(127 - $vel)"}) {
        for (const auto& node : compiled(text).nodes) expectRecordTakes(node, text);
    }
}

TEST(CompiledValueCables, endInPortsThatTheToolHas) {
    VirtualRuntime runtime;
    RuntimeScope scope(runtime);
    for (const auto* text : {"transpose($vel ? 1 : 0)", "velmod($vel + 1)", "lfo(depth:$vel)"}) {
        const auto program = compiled(text);
        for (const auto& cable : program.valueConnections) {
            const auto tool = makeTool(*toolTypeFromRawValue(program.nodes[cable.to].toolType));
            EXPECT_TRUE(tool->port(cable.portID)) << text << ": " << cable.portID;
        }
    }
}

}  // namespace
}  // namespace varnolex
