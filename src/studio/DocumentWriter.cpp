#include "studio/DocumentWriter.hpp"

#include <cmath>

#include <nlohmann/json.hpp>

#include "studio/Base64.hpp"

namespace varnolex {
namespace {

using JSON = nlohmann::json;

JSON jsonFrom(const UUID& id) { return id.text(); }
JSON jsonFrom(double value) { return std::isfinite(value) ? value : 0.0; }
JSON jsonFrom(bool value) { return value; }
JSON jsonFrom(std::int64_t value) { return value; }
JSON jsonFrom(const std::string& value) { return value; }

JSON jsonFrom(const CCBinding& binding) {
    return {{"ccNumber", binding.ccNumber},
            {"portID", binding.portID},
            {"rangeLow", jsonFrom(binding.rangeLow)},
            {"rangeHigh", jsonFrom(binding.rangeHigh)}};
}

JSON jsonFrom(const ToolBindings& bindings) {
    JSON object = JSON::object();
    for (const auto& [portID, binding] : bindings) object[portID] = jsonFrom(binding);
    return object;
}

JSON jsonFrom(const ModularConnection& cable) {
    return {{"id", cable.id.text()},
            {"sourceNodeID", cable.sourceNodeID.text()},
            {"targetNodeID", cable.targetNodeID.text()}};
}

JSON jsonFrom(const ValueConnection& cable) {
    return {{"id", cable.id.text()},
            {"sourceNodeID", cable.sourceNodeID.text()},
            {"targetNodeID", cable.targetNodeID.text()},
            {"targetPortID", cable.targetPortID}};
}

JSON jsonFrom(const ModularDocument::NodeSnapshot& node);
JSON jsonFrom(const ModularDocument::ModularSnapshot& modular);
JSON jsonFrom(const ModularDocument::ActivityState& state);
JSON jsonFrom(const ModularDocument::TabSpec& tab);

template <class Element>
JSON jsonFrom(const std::vector<Element>& list) {
    JSON array = JSON::array();
    array.get_ref<JSON::array_t&>().reserve(list.size());
    for (const Element& element : list) array.push_back(jsonFrom(element));
    return array;
}

template <class Value>
void put(JSON& object, const char* key, const std::optional<Value>& value) {
    if (value) object[key] = jsonFrom(*value);
}

JSON jsonFrom(const ModularDocument::NodeSnapshot& node) {
    JSON object{{"id", node.id.text()},
                {"toolType", node.toolType},
                {"name", node.name},
                {"isEnabled", node.isEnabled},
                {"positionX", jsonFrom(node.position.x)},
                {"positionY", jsonFrom(node.position.y)},
                {"sizeWidth", jsonFrom(node.size.width)},
                {"sizeHeight", jsonFrom(node.size.height)}};
    if (node.configData) object["configData"] = base64FromBytes(*node.configData);
    if (!node.ccBindings.empty()) object["ccBindings"] = jsonFrom(node.ccBindings);
    return object;
}

JSON jsonFrom(const ModularDocument::ModularSnapshot& modular) {
    JSON object{{"id", modular.id.text()},
                {"name", modular.name},
                {"nodes", jsonFrom(modular.nodes)},
                {"connections", jsonFrom(modular.connections)},
                {"valueConnections", jsonFrom(modular.valueConnections)}};
    put(object, "canvasPanX", modular.canvasPanX);
    put(object, "canvasPanY", modular.canvasPanY);
    put(object, "canvasZoom", modular.canvasZoom);
    put(object, "displayMode", modular.displayMode);
    if (!modular.chainOrder.empty()) object["chainOrder"] = jsonFrom(modular.chainOrder);
    if (!modular.expandedNodeIDs.empty()) object["expandedNodeIDs"] = jsonFrom(modular.expandedNodeIDs);
    return object;
}

JSON jsonFrom(const ModularDocument::ActivityState& state) {
    JSON object{{"appMode", state.appMode},
                {"selectedSourceIDs", state.selectedSourceIDs},
                {"selectedListenerDestinationIDs", state.selectedListenerDestinationIDs},
                {"filterTypeMask", state.filterTypeMask},
                {"filterChannelMask", state.filterChannelMask},
                {"filterMPEZone", state.filterMPEZone}};
    put(object, "selectedVirtualInputNames", state.selectedVirtualInputNames);
    put(object, "viewMode", state.viewMode);
    put(object, "showTable", state.showTable);
    put(object, "showDashboard", state.showDashboard);
    put(object, "isPaused", state.isPaused);
    return object;
}

JSON jsonFrom(const ModularDocument::TabSpec& tab) {
    JSON object{{"kind", tab.kind}, {"title", tab.title}};
    put(object, "modularID", tab.modularID);
    put(object, "sidebarCollapsed", tab.sidebarCollapsed);
    put(object, "sidebarWidth", tab.sidebarWidth);
    put(object, "activityState", tab.activityState);
    return object;
}

JSON jsonFrom(const ModularDocument& document) {
    JSON object{{"version", ModularDocument::version}, {"modulars", jsonFrom(document.modulars)}};
    put(object, "currentModularID", document.currentModularID);
    put(object, "activityState", document.activityState);
    put(object, "tabs", document.tabs);
    put(object, "selectedTabIndex", document.selectedTabIndex);
    return object;
}

}  // namespace

std::string DocumentWriter::write(const ModularDocument& document) {
    return jsonFrom(document).dump(2, ' ', false, JSON::error_handler_t::replace) + '\n';
}

}  // namespace varnolex
