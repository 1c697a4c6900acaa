#include "studio/DocumentReader.hpp"

#include <nlohmann/json.hpp>

#include "studio/BoundedJSON.hpp"
#include "studio/DocumentPlace.hpp"
#include "studio/LegacyDocumentMigrator.hpp"

namespace varnolex {
namespace {

using Place = DocumentPlace;

UUID readUUID(const Place& place) { return place.uuid(); }
double readReal(const Place& place) { return place.real(); }
bool readBoolean(const Place& place) { return place.boolean(); }
std::string readText(const Place& place) { return place.text(); }

template <class Integer>
Integer readInteger(const Place& place) {
    return place.integer<Integer>();
}

template <class Read>
auto listOf(Read read) {
    return [read](const Place& place) { return place.list(read); };
}

ToolBindings readBindings(const Place& place) {
    ToolBindings bindings;
    place.eachMember([&](const std::string& portID, const Place& each) {
        bindings[portID] = {.ccNumber = each.required("ccNumber").integer<std::uint8_t>(),
                            .portID = each.required("portID").text(),
                            .rangeLow = each.required("rangeLow").real(),
                            .rangeHigh = each.required("rangeHigh").real()};
    });
    return bindings;
}

ModularDocument::NodeSnapshot readNode(const Place& place) {
    return {.id = place.required("id").uuid(),
            .toolType = place.required("toolType").text(),
            .name = place.required("name").text(),
            .isEnabled = place.required("isEnabled").boolean(),
            .position = {place.required("positionX").real(), place.required("positionY").real()},
            .size = {place.required("sizeWidth").real(), place.required("sizeHeight").real()},
            .configData = place.optional("configData", [](const Place& data) { return data.binary(); }),
            .ccBindings = place.optional("ccBindings", readBindings).value_or(ToolBindings{})};
}

ModularConnection readConnection(const Place& place) {
    return {place.required("id").uuid(), place.required("sourceNodeID").uuid(), place.required("targetNodeID").uuid()};
}

ValueConnection readValueConnection(const Place& place) {
    return {place.required("id").uuid(), place.required("sourceNodeID").uuid(), place.required("targetNodeID").uuid(),
            place.required("targetPortID").text()};
}

ModularDocument::ModularSnapshot readModular(const Place& place) {
    return {
        .id = place.required("id").uuid(),
        .name = place.required("name").text(),
        .nodes = place.required("nodes").list(readNode),
        .connections = place.required("connections").list(readConnection),
        .valueConnections =
            place.optional("valueConnections", listOf(readValueConnection)).value_or(std::vector<ValueConnection>{}),
        .canvasPanX = place.optional("canvasPanX", readReal),
        .canvasPanY = place.optional("canvasPanY", readReal),
        .canvasZoom = place.optional("canvasZoom", readReal),
        .displayMode = place.optional("displayMode", readText),
        .chainOrder = place.optional("chainOrder", listOf(readUUID)).value_or(std::vector<UUID>{}),
        .expandedNodeIDs = place.optional("expandedNodeIDs", listOf(readUUID)).value_or(std::vector<UUID>{})};
}

ModularDocument::ActivityState readActivityState(const Place& place) {
    const auto readIDs = listOf(readInteger<std::int32_t>);
    return {.appMode = place.required("appMode").text(),
            .selectedSourceIDs = readIDs(place.required("selectedSourceIDs")),
            .selectedListenerDestinationIDs = readIDs(place.required("selectedListenerDestinationIDs")),
            .selectedVirtualInputNames = place.optional("selectedVirtualInputNames", listOf(readText)),
            .filterTypeMask = place.required("filterTypeMask").integer<std::uint32_t>(),
            .filterChannelMask = place.required("filterChannelMask").integer<std::uint16_t>(),
            .filterMPEZone = place.required("filterMPEZone").integer<std::uint8_t>(),
            .viewMode = place.optional("viewMode", readText),
            .showTable = place.optional("showTable", readBoolean),
            .showDashboard = place.optional("showDashboard", readBoolean),
            .isPaused = place.optional("isPaused", readBoolean)};
}

ModularDocument::TabSpec readTab(const Place& place) {
    return {.kind = place.required("kind").text(),
            .modularID = place.optional("modularID", readUUID),
            .title = place.required("title").text(),
            .sidebarCollapsed = place.optional("sidebarCollapsed", readBoolean),
            .sidebarWidth = place.optional("sidebarWidth", readReal),
            .activityState = place.optional("activityState", readActivityState)};
}

ModularDocument readDocument(const Place& place) {
    place.required("version").integer<std::int64_t>();
    return {.modulars = place.required("modulars").list(readModular),
            .currentModularID = place.optional("currentModularID", readUUID),
            .activityState = place.optional("activityState", readActivityState),
            .tabs = place.optional("tabs", listOf(readTab)),
            .selectedTabIndex = place.optional("selectedTabIndex", readInteger<std::int64_t>)};
}

}  // namespace

ModularDocument DocumentReader::read(std::string_view bytes) {
    if (bytes.size() > documentSizeLimit) throw DocumentError("the document: too large");
    nlohmann::json value = parseBoundedJSON(bytes);
    if (LegacyDocumentMigrator::migrate(value)) LegacyDocumentMigrator::report(bytes.size(), value.dump().size());
    return readDocument(Place(value));
}

}  // namespace varnolex
