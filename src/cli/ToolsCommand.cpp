#include "cli/ToolsCommand.hpp"

#include <cmath>

#include <nlohmann/json.hpp>

#include "cli/CommandFailure.hpp"
#include "cli/Streams.hpp"
#include "engine/Catalogue.hpp"
#include "language/NodeNames.hpp"
#include "platform/VirtualRuntime.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex {
namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(const ParameterValue& value, const Parameter& row);

Json jsonOf(const std::vector<ParameterRecord>& records, const Parameter& row) {
    Json list = Json::array();
    for (const ParameterRecord& record : records) {
        Json entry = Json::object();
        for (std::size_t index = 0; index < row.fields.size(); ++index)
            if (Json value = jsonOf(record.values[index], row.fields[index]); !value.is_null())
                entry[std::string(row.fields[index].key)] = std::move(value);
        list.push_back(std::move(entry));
    }
    return list;
}

Json jsonOf(const ParameterValue& value, const Parameter& row) {
    if (const auto* records = std::get_if<std::vector<ParameterRecord>>(&value)) return jsonOf(*records, row);
    if (row.shape == ParameterShape::choice)
        return std::string(row.choices[static_cast<std::size_t>(std::get<std::int64_t>(value))]);
    return std::visit(
        [](const auto& held) -> Json {
            if constexpr (std::is_constructible_v<Json, decltype(held)>)
                return held;
            else
                return nullptr;
        },
        value);
}

Json jsonOfParameter(const Parameter& row, const PipeTool& tool) {
    Json parameter{{"key", row.key}, {"type", nameOf(row.shape)}};
    tool.viewSettings(SettingsBase::silence,
                      [&](const void* settings) { parameter["default"] = jsonOf(row.read(settings), row); });
    tool.viewSettings(SettingsBase::fresh,
                      [&](const void* settings) { parameter["initial"] = jsonOf(row.read(settings), row); });
    if (!row.choices.empty()) parameter["choices"] = row.choices;
    for (const Parameter& field : row.fields)
        parameter["fields"].push_back({{"key", field.key}, {"type", nameOf(field.shape)}});
    return parameter;
}

/// The end of a port's range, as people write it: 24, not 24.0.
Json jsonOfBound(double bound) {
    return std::trunc(bound) == bound ? Json(static_cast<std::int64_t>(bound)) : Json(bound);
}

Json jsonOfKind(const ToolKind& kind) {
    const auto tool = makeTool(kind.type);
    Json parameters = Json::array();
    for (const Parameter& row : tool->definition().parameters)
        if (!row.key.empty()) parameters.push_back(jsonOfParameter(row, *tool));
    Json ports = Json::array();
    for (const ValuePort& port : tool->valuePorts())
        ports.push_back(
            {{"id", port.id}, {"label", port.label}, {"low", jsonOfBound(port.low)}, {"high", jsonOfBound(port.high)}});
    const std::string_view record = tool->definition().record;
    return {{"index", indexOf(kind.type)},
            {"case", kind.caseName},
            {"rawValue", kind.rawValue},
            {"displayName", kind.displayName},
            {"group", kind.category},
            {"icon", kind.iconName},
            {"hasInput", kind.hasInput},
            {"hasOutput", kind.hasOutput},
            {"hasValueOutput", tool->hasValueOutput()},
            {"patchNames", namesOfKind(kind.rawValue)},
            {"description", kind.description},
            {"record", record.empty() ? Json(nullptr) : Json(record)},
            {"parameters", std::move(parameters)},
            {"ports", std::move(ports)}};
}

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size() + 2, width), ' ');
    return text;
}

std::string yesOrNo(bool is) { return is ? "yes" : "no"; }

/// A number as people write it: 24, not 24.0.
std::string plain(const Json& value) {
    if (value.is_string()) return value.get<std::string>().empty() ? "(empty)" : value.get<std::string>();
    if (value.is_null()) return "none";
    std::string text = value.dump();
    if (value.is_number_float() && text.ends_with(".0")) text.resize(text.size() - 2);
    return text;
}

std::string listText() {
    std::string text;
    for (const PaletteGroup& group : paletteGroups()) {
        text += (text.empty() ? "" : "\n") + std::string(group.name) + "\n";
        // The palette hides a kind that patches may still name, so the kinds come from the whole catalogue.
        for (const ToolKind& kind : allToolKinds())
            if (kind.category == group.name)
                text += "  " + padded(std::string(kind.rawValue), 18) + std::string(kind.description) + "\n";
    }
    return text;
}

std::string kindText(const ToolKind& kind) {
    const Json about = jsonOfKind(kind);
    std::string text = std::string(kind.displayName) + " (" + std::string(kind.rawValue) + ", " +
                       std::string(kind.caseName) + ")\n" + std::string(kind.description) + "\n\n";
    text += "Group:   " + std::string(kind.category) + "\n";
    text += "MIDI:    input " + yesOrNo(kind.hasInput) + ", output " + yesOrNo(kind.hasOutput) + "\n";
    text += "Record:  " + plain(about["record"]) + "\n";
    if (!about["parameters"].empty()) {
        text += "\nParameters\n  " + padded("key", 24) + padded("type", 12) + padded("new", 14) + "when left out\n";
        for (const Json& row : about["parameters"])
            text += "  " + padded(row["key"], 24) + padded(row["type"], 12) + padded(plain(row["initial"]), 14) +
                    plain(row["default"]) + "\n";
    }
    if (!about["ports"].empty()) {
        text += "\nValue ports\n";
        for (const Json& port : about["ports"])
            text += "  " + padded(port["id"], 24) + padded(port["label"], 20) + plain(port["low"]) + " to " +
                    plain(port["high"]) + "\n";
    }
    return text;
}

std::string listJSON() {
    Json list = Json::array();
    for (const ToolKind& kind : allToolKinds()) list.push_back(jsonOfKind(kind));
    return list.dump(2) + "\n";
}

}  // namespace

void runTools(const std::string& kind, bool json) {
    // Tools are made to be looked at, and a tool needs a runtime for its identity.
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    if (kind.empty()) return writeOutput("-", json ? listJSON() : listText());
    const auto type = toolTypeFromAnyName(kind);
    if (!type) throw CommandFailure("there is no tool kind \"" + kind + "\"; `varnolex tools` lists them");
    const ToolKind& found = toolKind(*type);
    writeOutput("-", json ? Json::array({jsonOfKind(found)}).dump(2) + "\n" : kindText(found));
}

}  // namespace varnolex
