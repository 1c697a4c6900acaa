#include <set>

#include "conformance/EveryKind.hpp"

namespace varnolex::testing {
namespace {

class CatalogueConformance : public EveryKind {};

TEST(Catalogue, namesEachKindOnce) {
    std::set<std::string_view> cases, rawValues, displayNames;
    for (const ToolKind& kind : allToolKinds()) {
        EXPECT_TRUE(cases.insert(kind.caseName).second) << kind.caseName;
        EXPECT_TRUE(rawValues.insert(kind.rawValue).second) << kind.rawValue;
        EXPECT_TRUE(displayNames.insert(kind.displayName).second) << kind.displayName;
        EXPECT_EQ(toolTypeFromRawValue(kind.rawValue), kind.type);
        EXPECT_FALSE(kind.description.empty()) << kind.caseName;
    }
    EXPECT_EQ(cases.size(), toolKindCount);
}

TEST_P(CatalogueConformance, makesAToolOfItsOwnKind) {
    const ChainProbe probe(type());
    EXPECT_EQ(probe.tool->toolType(), type());
    EXPECT_EQ(probe.tool->name(), GetParam().defaultName);
    EXPECT_TRUE(probe.tool->isEnabled());
    const ToolDefinition& definition = toolDefinition(type());
    EXPECT_EQ(definition.type, type());
    EXPECT_EQ(&probe.tool->definition(), &definition);
    EXPECT_EQ(definition.record.empty(), recordRows(*probe.tool).empty());
}

TEST_P(CatalogueConformance, namesEachParameterAndPortOnce) {
    const ChainProbe probe(type());
    std::set<std::string_view> keys, ports;
    for (const Parameter& row : probe.tool->definition().parameters) {
        EXPECT_TRUE(row.key.empty() || keys.insert(row.key).second) << row.key;
        if (!row.valuePort) continue;
        EXPECT_TRUE(ports.insert(row.valuePort->id).second) << row.valuePort->id;
        EXPECT_EQ(probe.tool->port(row.valuePort->id), row.valuePort);
    }
    EXPECT_EQ(probe.tool->valuePorts().size(), ports.size());
    for (const ValuePort& port : probe.tool->valuePorts()) {
        EXPECT_LT(port.low, port.high) << port.id;
        EXPECT_FALSE(port.label.empty()) << port.id;
    }
}

TEST_P(CatalogueConformance, takesANumberAtEveryPort) {
    const ChainProbe probe(type());
    if (probe.tool->valuePorts().empty()) return;
    EXPECT_TRUE(probe.tool->valueReceiver() || probe.tool->takesLiveValues());
    if (probe.tool->valueReceiver()) return;
    for (const ValuePort& port : probe.tool->valuePorts()) EXPECT_EQ(probe.tool->liveKey(port.id), port.id);
    EXPECT_EQ(probe.tool->liveKey("no such key"), "");
}

INSTANTIATE_TEST_SUITE_P(All, CatalogueConformance, ::testing::ValuesIn(allToolKinds()), nameOfKind);

}  // namespace
}  // namespace varnolex::testing
