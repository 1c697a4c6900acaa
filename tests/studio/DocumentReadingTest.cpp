#include <limits>

#include "studio/Base64.hpp"
#include "studio/DocumentFixture.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class DocumentReadingTest : public DocumentFixture {};

std::string faultOf(std::string_view bytes) {
    try {
        DocumentReader::read(bytes);
        return "read";
    } catch (const DocumentError& fault) {
        return fault.what();
    }
}

TEST_F(DocumentReadingTest, AFaultNamesItsPlace) {
    struct {
        const char* file;
        const char* fault;
    } const table[] = {
        {"missing-version", "version: missing"},
        {"modulars-not-a-list", "modulars: expected a list"},
        {"missing-tool-type", "modulars[1].nodes[2].toolType: missing"},
        {"tool-type-is-a-number", "modulars[1].nodes[2].toolType: expected a text"},
        {"node-id-is-no-uuid", "modulars[1].nodes[0].id: expected a UUID"},
        {"config-is-no-base64", "modulars[1].nodes[1].configData: expected a Base64 text"},
        {"binding-beyond-a-byte",
         "modulars[1].nodes[1].ccBindings.semitones.ccNumber: expected an integer from 0 to 255"},
        {"cable-without-target", "modulars[1].connections[1].targetNodeID: missing"},
        {"channel-mask-negative", "tabs[0].activityState.filterChannelMask: expected an integer from 0 to 65535"},
        {"top-is-a-list", "the document: expected an object"},
        {"trailing-comma", "line 4, column 1: this is not JSON"},
        {"number-too-large", "line 2, column 34: a number is too large"},
        {"invalid-utf8", "line 2, column 8: this is not JSON"},
        {"empty", "line 1, column 1: this is not JSON"},
        {"nested-too-deep", "nested deeper than 128 levels"},
    };
    for (const auto& row : table)
        EXPECT_EQ(faultOf(corpusBytes("bad-" + std::string(row.file) + ".varnolex")), row.fault) << row.file;
}

TEST_F(DocumentReadingTest, EveryPartOfADocumentIsRead) {
    const ModularDocument document = corpusDocument("good-two-graphs.varnolex");
    ASSERT_EQ(document.modulars.size(), 2u);
    const auto& graph = document.modulars[0];
    EXPECT_EQ(graph.name, "Stage");
    EXPECT_EQ(graph.canvasPanY, -3.0);
    EXPECT_EQ(graph.displayMode, "chains");
    EXPECT_THAT(graph.chainOrder, ElementsAre(numberedID(11)));
    EXPECT_THAT(graph.connections, ElementsAre(ModularConnection{numberedID(21), numberedID(11), numberedID(12)},
                                               ModularConnection{numberedID(22), numberedID(12), numberedID(13)}));
    EXPECT_THAT(graph.valueConnections,
                ElementsAre(ValueConnection{numberedID(23), numberedID(14), numberedID(12), "semitones"}));
    const auto& node = graph.nodes.at(1);
    EXPECT_EQ(node.toolType, "Transpose");
    EXPECT_EQ(node.configData, R"({"semitones": 4})");
    EXPECT_EQ(node.ccBindings, (ToolBindings{{"semitones", {20, "semitones", -12, 12}}}));
    ASSERT_TRUE(document.tabs && document.activityState);
    EXPECT_EQ(document.selectedTabIndex, 1);
    EXPECT_EQ(document.tabs->at(0).activityState->selectedVirtualInputNames,
              std::vector<std::string>{"Virtual Input 1"});
    EXPECT_THAT(document.activityState->selectedSourceIDs, ElementsAre(12, -7));
    EXPECT_EQ(document.activityState->filterTypeMask, 0xFFFFFFFF);
}

TEST_F(DocumentReadingTest, WhatIsUnknownOrNullIsPassedOver) {
    const ModularDocument document = corpusDocument("good-unknown-keys-and-fractions.varnolex");
    EXPECT_EQ(document.modulars.at(0).name, "Café 🎹");
    EXPECT_EQ(document.modulars.at(0).id, numberedID(5));
    EXPECT_EQ(document.selectedTabIndex, 0);
    EXPECT_FALSE(document.tabs);
}

TEST_F(DocumentReadingTest, WhatIsWrittenIsReadAsTheSame) {
    for (const char* name : {"good-two-graphs.varnolex", "good-minimal.varnolex", "good-patch.vxpatch",
                             "good-unknown-keys-and-fractions.varnolex", "old-graphs-and-monitors.varnolex",
                             "old-without-tabs.varnolex", "damaged-dropped-parts.varnolex"}) {
        SCOPED_TRACE(name);
        const ModularDocument document = corpusDocument(name);
        const std::string written = DocumentWriter::write(document);
        EXPECT_EQ(DocumentReader::read(written), document);
        EXPECT_EQ(DocumentWriter::write(DocumentReader::read(written)), written);
    }
}

TEST_F(DocumentReadingTest, MembersWithoutAValueAreLeftOut) {
    ModularDocument document;
    document.modulars.push_back({.id = numberedID(1), .name = "Empty"});
    const std::string written = DocumentWriter::write(document);
    EXPECT_THAT(written, HasSubstr(R"("valueConnections": [])"));
    EXPECT_THAT(written, HasSubstr(R"("version": 1)"));
    for (const char* key : {"chainOrder", "expandedNodeIDs", "tabs", "selectedTabIndex", "activityState", "null"})
        EXPECT_THAT(written, testing::Not(HasSubstr(key)));
}

TEST_F(DocumentReadingTest, WhateverAProgramHoldsCanBeWrittenAndReadAgain) {
    ModularDocument document;
    auto& graph = document.modulars.emplace_back();
    graph.name = std::string("NUL \0 and \xC3\x28", 12);
    graph.canvasZoom = std::numeric_limits<double>::infinity();
    graph.nodes.push_back({.toolType = "Transpose", .name = "\xFF", .position = {std::nan(""), -1e308}});
    graph.nodes[0].configData = std::string("\0\xFF", 2);
    const ModularDocument read = DocumentReader::read(DocumentWriter::write(document));
    EXPECT_EQ(read.modulars[0].name, std::string("NUL \0 and \uFFFD(", 14));
    EXPECT_EQ(read.modulars[0].canvasZoom, 0.0);
    EXPECT_EQ(read.modulars[0].nodes[0].position, (Point{0, -1e308}));
    EXPECT_EQ(read.modulars[0].nodes[0].configData, graph.nodes[0].configData);
}

TEST_F(DocumentReadingTest, NestingIsBoundedWithoutDescending) {
    const std::string deep = "{\"version\":1,\"modulars\":" + std::string(1'000'000, '[');
    EXPECT_EQ(faultOf(deep), "nested deeper than 128 levels");
    const std::string allowed = std::string(120, '[') + std::string(120, ']');
    EXPECT_EQ(faultOf("{\"version\":1,\"modulars\":[],\"later\":" + allowed + "}"), "read");
}

TEST_F(DocumentReadingTest, Base64CarriesAnyBytes) {
    struct {
        std::string bytes;
        const char* text;
    } const table[] = {
        {"", ""}, {"M", "TQ=="}, {"Ma", "TWE="}, {"Man", "TWFu"}, {std::string("\0\xFF\xFB", 3), "AP/7"}};
    for (const auto& row : table) {
        EXPECT_EQ(base64FromBytes(row.bytes), row.text);
        EXPECT_EQ(bytesFromBase64(row.text), row.bytes);
    }
    for (const char* text : {"TQ", "T===", "====", "TQ=a", "T Q=", "TWFu\n", "TWF-"})
        EXPECT_EQ(bytesFromBase64(text), std::nullopt) << text;
}

}  // namespace
}  // namespace varnolex
