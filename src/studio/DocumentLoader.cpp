#include "studio/DocumentLoader.hpp"

#include <set>

#include "platform/Runtime.hpp"
#include "platform/VarnolexLogger.hpp"
#include "studio/EndpointBinding.hpp"
#include "studio/GraphSnapshot.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex {
namespace {

using Graphs = std::vector<std::shared_ptr<Modular>>;

/// A graph is found by its id alone, so none may have that of another.
Graphs restoreAll(const ModularDocument& document, DocumentFindings& findings, CCBindingStore::Map& bindings) {
    Graphs graphs;
    std::set<UUID> seen;
    for (const auto& snapshot : document.modulars) {
        if (seen.insert(snapshot.id).second) {
            graphs.push_back(restoreModular(snapshot, findings, bindings));
            continue;
        }
        findings.dropped.push_back("The graph \"" + snapshot.name +
                                   "\" has the id of an earlier one and gets another.");
        ModularDocument::ModularSnapshot renamed = snapshot;
        renamed.id = Runtime::current().makeUUID();
        graphs.push_back(restoreModular(renamed, findings, bindings));
    }
    return graphs;
}

void replaceGraphs(ModularEngine& engine, Graphs graphs) {
    while (!engine.modulars().empty()) {
        // Held until it is out of the list, which the engine takes it from by its id.
        const std::shared_ptr<Modular> leaving = engine.modulars().back();
        engine.removeModular(*leaving);
    }
    for (auto& graph : graphs) engine.adoptModular(std::move(graph));
}

/// Own sources of outputs have no place in today's format.
void listOwnSources(const Modular& modular, DocumentFindings& findings) {
    for (const auto& node : modular.nodes) {
        const auto* output = dynamic_cast<const MidiOutTool*>(node->tool.get());
        if (output && output->needsVirtualOutputMigration())
            findings.dropped.push_back("The output \"" + output->name() + "\" of \"" + modular.name +
                                       "\" was a source of its own and has to be given a virtual output.");
    }
}

void keepOpenableTabs(ModularDocument& document, DocumentFindings& findings) {
    if (!document.tabs || document.tabs->empty()) return;
    const TabPlan plan = planTabs(document);
    findings.dropped.insert(findings.dropped.end(), plan.dropped.begin(), plan.dropped.end());
    std::vector<ModularDocument::TabSpec> kept;
    for (const PlannedTab& tab : plan.tabs) {
        kept.push_back((*document.tabs)[tab.position]);
        kept.back().title = tab.title;
    }
    document.selectedTabIndex.reset();
    if (!kept.empty()) document.selectedTabIndex = static_cast<std::int64_t>(plan.selectedIndex);
    document.tabs = std::move(kept);
}

}  // namespace

LoadedDocument loadDocument(const ModularDocument& document, ModularEngine& engine, VirtualPortManager* ports) {
    LoadedDocument loaded;
    loaded.tabs = planTabs(document);
    loaded.findings.dropped = loaded.tabs.dropped;
    CCBindingStore::Map bindings = CCBindingStore::shared().bindings();
    Graphs graphs = restoreAll(document, loaded.findings, bindings);
    for (const std::string& line : loaded.findings.logLines) VarnolexLogger::shared().error(line);

    replaceGraphs(engine, std::move(graphs));
    CCBindingStore::shared().setBindings(std::move(bindings));
    engine.startAll();
    for (const auto& graph : engine.modulars()) bindEndpoints(*graph, ports);
    return loaded;
}

ModularDocument rewriteDocument(const ModularDocument& document, DocumentFindings& findings) {
    const CCBindingStore::Map untouched = CCBindingStore::shared().bindings();
    CCBindingStore::Map bindings = untouched;
    const Graphs graphs = restoreAll(document, findings, bindings);
    CCBindingStore::shared().setBindings(std::move(bindings));

    ModularDocument rewritten = document;
    rewritten.modulars.clear();
    for (const auto& graph : graphs) {
        listOwnSources(*graph, findings);
        rewritten.modulars.push_back(makeSnapshot(*graph));
    }
    CCBindingStore::shared().setBindings(untouched);
    keepOpenableTabs(rewritten, findings);
    return rewritten;
}

}  // namespace varnolex
