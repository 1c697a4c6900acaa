#include "endpoints/VirtualPortManager.hpp"
#include "endpoints/memory/MemoryService.hpp"
#include "platform/DefaultsStore.hpp"
#include "platform/SupportFolder.hpp"
#include "studio/DocumentFiles.hpp"
#include "studio/DocumentFixture.hpp"
#include "studio/DocumentLoader.hpp"
#include "studio/EndpointBinding.hpp"
#include "studio/GraphSnapshot.hpp"
#include "studio/ToolRecord.hpp"
#include "tools/endpoints/MidiInTool.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class DocumentLoadingTest : public DocumentFixture {
protected:
    LoadedDocument load(const std::string& name) { return loadDocument(corpusDocument(name), engine, &ports); }

    template <class Tool>
    Tool& toolAt(std::size_t index) {
        return dynamic_cast<Tool&>(*engine.modulars().at(0)->nodes.at(index)->tool);
    }

    MemoryService service;
    MIDIServiceScope serviceScope{service};
    DefaultsStore defaults{{}};
    VirtualPortManager ports{defaults};
    ModularEngine engine;
    TemporaryFolder folder;
};

TEST_F(DocumentLoadingTest, WhatIsLoadedIsSavedAgainAsItWas) {
    DocumentFindings findings;
    const ModularDocument stored = rewriteDocument(corpusDocument("good-two-graphs.varnolex"), findings);
    EXPECT_THAT(findings.dropped, SizeIs(0));
    EXPECT_THAT(CCBindingStore::shared().bindings(), SizeIs(0));

    loadDocument(stored, engine, &ports);
    EXPECT_EQ(composeDocument(engine, *stored.tabs, 1, numberedID(1)).modulars, stored.modulars);
    const auto& node = *engine.modulars().at(0)->nodes.at(1);
    EXPECT_EQ(node.id, numberedID(12));
    EXPECT_TRUE(node.chain);
    EXPECT_THAT(CCBindingStore::shared().bindings(node.tool->id()), SizeIs(1));
    EXPECT_EQ(engine.modulars().at(0)->displayMode, Modular::DisplayMode::chains);
}

TEST_F(DocumentLoadingTest, RewritingFillsInDefaultsAndKeepsTabs) {
    DocumentFindings findings;
    const ModularDocument once = rewriteDocument(corpusDocument("good-two-graphs.varnolex"), findings);
    EXPECT_EQ(once.modulars[0].nodes[1].configData, R"({"fromChannel":0,"fromChannelOnly":false,"semitones":4})");
    EXPECT_EQ(once.tabs, corpusDocument("good-two-graphs.varnolex").tabs);
    EXPECT_EQ(once.selectedTabIndex, 1);
    EXPECT_EQ(rewriteDocument(once, findings), once);
}

TEST_F(DocumentLoadingTest, RewritingAnOldDocumentChangesNoTabsMeaningAndTellsOfOwnSources) {
    ModularDocument document = corpusDocument("old-graphs-and-monitors.varnolex");
    document.tabs->push_back({.kind = "activity", .title = "Second"});
    DocumentFindings findings;
    const ModularDocument once = rewriteDocument(document, findings);
    EXPECT_THAT(findings.dropped, ElementsAre(HasSubstr("\"Routing Bus\" of \"Studio 2\" was a source of its own"),
                                              HasSubstr("\"Scope\""), HasSubstr("\"DAW\"")));
    const auto statesOf = [](const ModularDocument& each) {
        std::vector<bool> states;
        for (const PlannedTab& tab : planTabs(each).tabs) states.push_back(tab.activityState.has_value());
        return states;
    };
    EXPECT_THAT(statesOf(once), ElementsAre(true, false, false));
    EXPECT_EQ(statesOf(once), statesOf(document));
    EXPECT_EQ(rewriteDocument(once, findings), once);
}

TEST_F(DocumentLoadingTest, WhatCanNotBeKeptIsListed) {
    const LoadedDocument loaded = load("damaged-dropped-parts.varnolex");
    EXPECT_THAT(
        loaded.findings.dropped,
        ElementsAre("The tab \"Welcome\" of kind \"activity\" isn't opened.",
                    "The tab \"Ghost\" of kind \"modular\" isn't opened.",
                    "The node \"Gone\" of \"Damaged\" is of the unknown kind \"Teleport\".",
                    "The node \"Twin\" of \"Damaged\" has the id of an earlier one and gets another, without cables.",
                    "1 MIDI cable of \"Damaged\" ends at a node that isn't there.",
                    "1 value cable of \"Damaged\" ends at a node that isn't there."));
    EXPECT_THAT(loaded.findings.undecodable,
                ElementsAre(HasSubstr("\"Broken\" of \"Damaged\""), HasSubstr("\"Not JSON\"")));
    EXPECT_THAT(logged, ElementsAre("Decode failed for TransposeConfig: \"semitones\" must be an integer",
                                    HasSubstr("Decode failed for TransposeConfig: line 1")));
    const Modular& graph = *engine.modulars().at(0);
    EXPECT_THAT(graph.nodes, SizeIs(5));
    // A cable to itself and one out of an output aren't asked about.
    EXPECT_THAT(graph.connections, SizeIs(3));
    EXPECT_EQ(loaded.tabs.tabs.at(0).title, "Damaged");
    EXPECT_EQ(loaded.tabs.selectedIndex, 0u);
}

TEST_F(DocumentLoadingTest, ADocumentThatCanNotBeReadLeavesTheSession) {
    load("good-two-graphs.varnolex");
    EXPECT_THROW(importPatch(documentCorpus / "bad-missing-tool-type.varnolex", engine, &ports), DocumentError);
    EXPECT_THROW(importPatch(folder.path / "absent", engine, &ports), FileError);
    EXPECT_THAT(engine.modulars(), SizeIs(2));
}

TEST_F(DocumentLoadingTest, GraphsOfOneIDArePartedWhenADocumentReplacesAnother) {
    load("good-two-graphs.varnolex");
    const std::weak_ptr<Modular> former = engine.modulars()[0];
    ModularDocument twins;
    twins.modulars.resize(2);
    const LoadedDocument loaded = loadDocument(twins, engine, nullptr);
    EXPECT_TRUE(former.expired());
    ASSERT_THAT(engine.modulars(), SizeIs(2));
    EXPECT_NE(engine.modulars()[0]->id, engine.modulars()[1]->id);
    EXPECT_THAT(loaded.findings.dropped, SizeIs(1));
}

TEST_F(DocumentLoadingTest, OldDefaultNamesAndNarrowNodesAreBroughtUpToDate) {
    load("old-graphs-and-monitors.varnolex");
    const auto& nodes = engine.modulars().at(0)->nodes;
    EXPECT_EQ(nodes.at(1)->tool->name(), "Monitor 2");
    EXPECT_EQ(encodeConfig(*nodes.at(1)->tool), R"({"maxCapture":50,"numberFormat":0})");
    EXPECT_EQ(nodes.at(0)->tool->name(), "Monitor");

    ModularDocument::ModularSnapshot narrow;
    narrow.nodes.push_back({.toolType = "Transpose", .name = "T", .size = {20, 300}});
    DocumentFindings findings;
    EXPECT_EQ(restoreModular(narrow, findings)->nodes.at(0)->size, (Size{200, 300}));
}

TEST_F(DocumentLoadingTest, PortsOfOlderDocumentsAreFoundByNameAndOwnSourcesBecomeOutputs) {
    MIDIClientRef client = 0;
    service.MIDIClientCreateWithBlock("test", {}, client);
    ports.setClient(client);
    engine.clientRef = client;
    ports.addInput();
    const auto second = ports.addInput();
    load("old-graphs-and-monitors.varnolex");
    EXPECT_EQ(toolAt<MidiInTool>(0).connectedVirtualInput(), second);
    EXPECT_EQ(toolAt<MidiInTool>(0).settings().selectedVirtualInputID, second->uniqueID());
    ASSERT_THAT(ports.outputs(), SizeIs(1));
    EXPECT_EQ(toolAt<MidiOutTool>(2).connectedVirtualOutput(), ports.outputs()[0]);
    EXPECT_FALSE(toolAt<MidiOutTool>(2).needsVirtualOutputMigration());

    // Once saved, the document finds the same ports by their ids.
    const ModularDocument saved = composeDocument(engine, {}, std::nullopt, std::nullopt);
    ports.renameInput(second, "Renamed");
    loadDocument(saved, engine, &ports);
    EXPECT_EQ(toolAt<MidiInTool>(0).connectedVirtualInput(), second);
    EXPECT_EQ(toolAt<MidiOutTool>(2).connectedVirtualOutput(), ports.outputs().at(0));
    EXPECT_THAT(ports.outputs(), SizeIs(1));
}

TEST_F(DocumentLoadingTest, AnInputIsBoundToItsStoredSource) {
    MIDIClientRef client = 0;
    service.MIDIClientCreateWithBlock("test", {}, client);
    engine.clientRef = client;
    service.plugSource({.displayName = "Stage Keys", .uniqueID = 77});
    load("good-two-graphs.varnolex");
    EXPECT_TRUE(toolAt<MidiInTool>(0).isOnline());
}

TEST_F(DocumentLoadingTest, APatchComesInAnyNumberOfTimesWithoutSharingAnID) {
    load("good-two-graphs.varnolex");
    const auto path = exportPatch(*engine.modulars().at(0), folder.path / "stage.json");
    EXPECT_EQ(path, folder.path / "stage.json.vxpatch");
    const ModularDocument patch = readDocumentFile(path);
    EXPECT_EQ(patch.currentModularID, numberedID(1));
    EXPECT_FALSE(patch.tabs || patch.selectedTabIndex || patch.activityState);

    std::set<UUID> ids;
    const auto expectFresh = [&](const UUID& id) { EXPECT_TRUE(ids.insert(id).second); };
    for (int round = 0; round < 2; ++round) importPatch(path, engine, &ports);
    for (const std::size_t index : {0, 2, 3}) {
        const Modular& graph = *engine.modulars().at(index);
        EXPECT_EQ(graph.name, "Stage");
        expectFresh(graph.id);
        for (const auto& node : graph.nodes) expectFresh(node->id);
        for (const auto& cable : graph.connections) expectFresh(cable.id);
        ASSERT_THAT(graph.nodes, SizeIs(4));
        EXPECT_THAT(graph.downstreamNodeIDs(graph.nodes[0]->id), ElementsAre(graph.nodes[1]->id));
        EXPECT_EQ(graph.valueConnections.at(0).targetNodeID, graph.nodes[1]->id);
        EXPECT_THAT(graph.chainOrder, ElementsAre(graph.nodes[0]->id));
        EXPECT_THAT(CCBindingStore::shared().bindings(graph.nodes[1]->tool->id()), SizeIs(1));
    }
    EXPECT_EQ(importPatch(documentCorpus / "good-minimal.varnolex", engine, &ports).modular, nullptr);
    EXPECT_EQ(patchPath("a/b.VXPATCH"), "a/b.VXPATCH");
}

TEST_F(DocumentLoadingTest, FilesAreWrittenWholeAndRemembered) {
    load("good-two-graphs.varnolex");
    const ModularDocument document = composeDocument(engine, {}, std::nullopt, std::nullopt);
    EXPECT_THROW(saveDocument(document, folder.path / "absent" / "a.varnolex", defaults), FileError);
    EXPECT_EQ(defaults.string(lastSavedFileKey), std::nullopt);
    saveDocument(document, folder.path / "a.varnolex", defaults);
    EXPECT_EQ(defaults.string(lastSavedFileKey), (folder.path / "a.varnolex").string());
    EXPECT_EQ(readDocumentFile(folder.path / "a.varnolex"), document);

    SupportFolder support(folder.path);
    EXPECT_EQ(loadInitTemplate(support), std::nullopt);
    EXPECT_THAT(logged, SizeIs(0));
    saveInitTemplate(document, support);
    EXPECT_EQ(loadInitTemplate(support), document);
    saveState(document, support);
    EXPECT_EQ(readDocumentFile(support.path() / stateFileName), document);
    writeWholeFile(support.path() / initTemplateFileName, "{");
    EXPECT_EQ(loadInitTemplate(support), std::nullopt);
    EXPECT_THAT(logged, ElementsAre(testing::StartsWith("Failed to load init template: ")));
}

// Hostile documents

TEST_F(DocumentLoadingTest, AHundredThousandNodesInARowOrACircleLoadAndGo) {
    constexpr std::uint64_t count = 100'000;
    ModularDocument document;
    auto& graph = document.modulars.emplace_back();
    for (std::uint64_t number = 1; number <= count; ++number) {
        graph.nodes.push_back({.id = numberedID(number), .toolType = "Transpose", .name = "T"});
        graph.connections.push_back({numberedID(number), numberedID(number), numberedID(number % count + 1)});
    }
    loadDocument(document, engine, nullptr);
    const auto& nodes = engine.modulars().at(0)->nodes;
    ASSERT_THAT(nodes, SizeIs(count));
    const std::uint8_t note[] = {0x90, 60, 100};
    nodes[0]->chain->send({note, 3, 1, true});
    EXPECT_EQ(engine.modulars().at(0)->connections.size(), count);
    loadDocument({}, engine, nullptr);
}

TEST_F(DocumentLoadingTest, CablesOfOneIDAndBackToTheirNodeLoadAndCarryNothingInCircles) {
    ModularDocument document;
    auto& graph = document.modulars.emplace_back();
    for (const std::uint64_t number : {1, 2}) graph.nodes.push_back({.id = numberedID(number), .toolType = "Counter"});
    for (const std::uint64_t source : {1, 2})
        for (const std::uint64_t target : {1, 2}) {
            graph.connections.push_back({numberedID(9), numberedID(source), numberedID(target)});
            graph.valueConnections.push_back({numberedID(9), numberedID(source), numberedID(target), "minValue"});
        }
    loadDocument(document, engine, nullptr);
    const std::uint8_t note[] = {0x90, 60, 100};
    engine.modulars().at(0)->nodes[0]->chain->send({note, 3, 1, true});
    runtime.settle();
    EXPECT_THAT(makeSnapshot(*engine.modulars().at(0)).connections, SizeIs(4));
}

}  // namespace
}  // namespace varnolex
