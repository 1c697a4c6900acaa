#include <nlohmann/json.hpp>

#include "bench/Figures.hpp"
#include "bench/TestGraph.hpp"
#include "engine/Catalogue.hpp"
#include "studio/DocumentFiles.hpp"
#include "studio/DocumentReader.hpp"
#include "studio/DocumentWriter.hpp"
#include "studio/WiringPlan.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex::bench {
namespace {

constexpr std::size_t studios = 50;
constexpr std::size_t nodesInStudio = 40;

/// Graphs over all kinds that there are, each node fed by the one before it.
void fill(ModularEngine& engine) {
    const auto kinds = allToolKinds();
    for (std::size_t studio = 0; studio < studios; ++studio) {
        const auto modular =
            std::make_shared<Modular>(Runtime::current().makeUUID(), "Studio " + std::to_string(studio));
        for (std::size_t index = 0; index < nodesInStudio; ++index) {
            auto node = std::make_shared<ModularNode>();
            node->id = Runtime::current().makeUUID();
            node->tool = makeTool(kinds[(studio * nodesInStudio + index) % kinds.size()].type);
            node->position = {static_cast<double>(index) * 200.5, static_cast<double>(studio)};
            const auto& former = modular->nodes;
            if (!former.empty())
                modular->connections.push_back({Runtime::current().makeUUID(), former.back()->id, node->id});
            modular->nodes.push_back(std::move(node));
        }
        engine.adoptModular(modular);
    }
    engine.startAll();
}

}  // namespace

void measureDocuments(const Effort& effort, Figures& figures) {
    TestRuntime scope;
    ModularEngine saved;
    fill(saved);
    const std::string text = DocumentWriter::write(composeDocument(saved, {}, std::nullopt, std::nullopt));
    const auto json = nlohmann::json::parse(text);
    ModularEngine loaded;
    const std::vector<double> medians =
        mediansOf(effort.passes / 2 + 1,
                  {
                      [&] {
                          keep(loadDocument(DocumentReader::read(text), loaded, nullptr));
                          scope.runtime.settle();
                      },
                      [&] { keep(DocumentWriter::write(composeDocument(saved, {}, std::nullopt, std::nullopt))); },
                      [&] { keep(nlohmann::json::parse(text)); },
                      [&] { keep(json.dump(2)); },
                  });
    figures.push_back({"document: load 50 studios of 40 nodes", medians[0] * 1e3, "ms", "reading the bare JSON, ms",
                       medians[2] * 1e3, Figure::Limit::value, 200, "the next song's setup is there between two bars"});
    figures.push_back({"document: save it", medians[1] * 1e3, "ms", "writing the bare JSON, ms", medians[3] * 1e3,
                       Figure::Limit::value, 100, "the safety copy is made without a hitch"});
}

}  // namespace varnolex::bench
