#include "cli/PatchSource.hpp"

#include "cli/CommandFailure.hpp"
#include "cli/ScriptReports.hpp"
#include "cli/Streams.hpp"
#include "studio/DocumentError.hpp"
#include "studio/DocumentFiles.hpp"
#include "studio/DocumentReader.hpp"
#include "studio/GraphSnapshot.hpp"
#include "studio/WiringPlan.hpp"

namespace varnolex {
namespace {

void tellSilentCables(const Modular& modular) {
    const WiringPlan plan(modular);
    const std::size_t silent = plan.silentConnections().size() + plan.silentValueConnections().size();
    if (silent > 0)
        tellUser(std::to_string(silent) +
                 " cable(s) carry nothing, since they would close a circle or make a walk of more than " +
                 std::to_string(WiringPlan::longestWalk) + " nodes");
}

const ModularDocument::ModularSnapshot& chosenGraph(const ModularDocument& document, const PatchChoice& choice) {
    const auto& graphs = document.modulars;
    if (choice.studio) {
        for (const auto& graph : graphs)
            if (graph.name == *choice.studio) return graph;
        throw CommandFailure(inputName(choice.file) + ": there is no studio named \"" + *choice.studio + "\"");
    }
    for (const auto& graph : graphs)
        if (document.currentModularID && graph.id == *document.currentModularID) return graph;
    if (graphs.empty()) throw CommandFailure(inputName(choice.file) + ": the document holds no studio");
    return graphs.front();
}

std::shared_ptr<Modular> restoreGraph(const PatchChoice& choice) {
    const ModularDocument document = readDocumentFile(choice.file);
    DocumentFindings findings;
    auto modular = restoreModular(chosenGraph(document, choice), findings);
    tellFindings(findings, choice.file);
    return modular;
}

std::shared_ptr<Modular> bringToLife(std::shared_ptr<Modular> modular, ModularEngine& engine) {
    tellSilentCables(*modular);
    hearScripts(*modular);
    engine.adoptModular(modular);
    engine.startNodes(*modular);
    return modular;
}

}  // namespace

void tellFindings(const DocumentFindings& findings, const std::string& name) {
    for (const std::string& sentence : findings.dropped) tellUser(name + ": " + sentence);
    for (const std::string& sentence : findings.undecodable) tellUser(name + ": " + sentence);
}

DSLCompiler compileText(const std::string& text, const std::string& name) {
    DSLCompiler compiler;
    try {
        compiler.compile(text);
    } catch (const DSLCompiler::CompilerError& error) {
        throw CommandFailure(name + ": " + error.what());
    }
    return compiler;
}

BuiltPatch compilePatchText(const std::string& text, const std::string& name) {
    try {
        BuiltPatch patch = buildPatch(compileText(text, name), "Patch");
        for (const std::string& sentence : patch.refusedConfigs) tellUser(name + ": " + sentence);
        return patch;
    } catch (const PatchBuildError& error) {
        throw CommandFailure(name + ": " + error.what());
    }
}

void pressStart(const Modular& modular) {
    for (const auto& node : modular.nodes)
        if (Transport* transport = node->tool->transport()) transport->startPlaying();
}

std::shared_ptr<Modular> loadPatch(const PatchChoice& choice, ModularEngine& engine) {
    if (choice.text) return bringToLife(compilePatchText(*choice.text, "--patch").modular, engine);
    if (hasEnding(choice.file, {documentExtension, patchExtension})) return bringToLife(restoreGraph(choice), engine);
    return bringToLife(compilePatchText(readInput(choice.file), inputName(choice.file)).modular, engine);
}

}  // namespace varnolex
