#include "language/CompiledPatchJSON.hpp"

#include <variant>

#include <nlohmann/json.hpp>

#include "language/DSLCompiler.hpp"

namespace varnolex {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(const CompiledConfig& config) {
    auto object = Json::object();
    for (const auto& [key, value] : config) {
        object[key] = std::visit([](const auto& plain) { return Json(plain); }, value);
    }
    return object;
}

std::string textOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace

std::string compiledPatchJSON(const DSLCompiler& program) {
    auto nodes = Json::array();
    for (const auto& node : program.nodes) {
        auto entry = Json::object();
        entry["toolType"] = node.toolType;
        entry["config"] = jsonOf(node.config);
        nodes.push_back(std::move(entry));
    }
    auto connections = Json::array();
    for (const auto& cable : program.connections) connections.push_back(Json::array({cable.from, cable.to}));
    auto valueConnections = Json::array();
    for (const auto& cable : program.valueConnections) {
        valueConnections.push_back(Json::array({cable.from, cable.to, cable.portID}));
    }

    auto patch = Json::object();
    patch["nodes"] = std::move(nodes);
    patch["connections"] = std::move(connections);
    patch["valueConnections"] = std::move(valueConnections);
    return textOf(patch);
}

std::string compiledConfigJSON(const CompiledConfig& config) { return textOf(jsonOf(config)); }

}  // namespace varnolex
