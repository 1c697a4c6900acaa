#include "studio/ToolRecord.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "platform/VarnolexLogger.hpp"
#include "studio/BoundedJSON.hpp"
#include "studio/DocumentError.hpp"

namespace varnolex {
namespace {

using JSON = nlohmann::json;

JSON jsonFromReal(double value) {
    using Limits = std::numeric_limits<double>;
    return std::clamp(value, Limits::lowest(), Limits::max());
}

JSON jsonFrom(const ParameterValue& value, const Parameter& row);

JSON arrayFrom(const std::vector<ParameterRecord>& records, const Parameter& row) {
    JSON array = JSON::array();
    for (const ParameterRecord& record : records) {
        JSON entry = JSON::object();
        for (std::size_t index = 0; index < row.fields.size(); ++index)
            if (JSON value = jsonFrom(record.values[index], row.fields[index]); !value.is_null())
                entry[std::string(row.fields[index].key)] = std::move(value);
        array.push_back(std::move(entry));
    }
    return array;
}

JSON jsonFromInteger(std::int64_t value, const Parameter& row) {
    if (row.shape == ParameterShape::choice) return row.choices[static_cast<std::size_t>(value)];
    if (row.shape == ParameterShape::flags) return static_cast<std::uint64_t>(value);
    return value;
}

/// Null for a value that isn't written.
JSON jsonFrom(const ParameterValue& value, const Parameter& row) {
    return std::visit(
        [&](const auto& held) -> JSON {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>)
                return nullptr;
            else if constexpr (std::is_same_v<Held, double>)
                return std::isnan(held) ? JSON(nullptr) : jsonFromReal(held);
            else if constexpr (std::is_same_v<Held, std::vector<ParameterRecord>>)
                return arrayFrom(held, row);
            else if constexpr (std::is_same_v<Held, std::int64_t>)
                return jsonFromInteger(held, row);
            else
                return held;
        },
        value);
}

std::optional<ParameterValue> listFrom(const JSON& array) {
    std::vector<std::int64_t> entries;
    entries.reserve(array.size());
    for (const JSON& element : array) {
        const auto entry = integerIn(element);
        if (!entry) return std::nullopt;
        entries.push_back(*entry);
    }
    return entries;
}

/// A value of the type that the JSON stands for; nothing for one that no parameter can have.
std::optional<ParameterValue> plainValue(const JSON& value) {
    if (value.is_boolean()) return value.get<bool>();
    if (value.is_string()) return value.get_ref<const std::string&>();
    if (value.is_array()) return listFrom(value);
    if (!value.is_number()) return std::nullopt;
    if (const auto integer = integerIn(value)) return *integer;
    return value.get<double>();
}

ParameterValue valueFor(const Parameter& row, const JSON& value);

/// A value for each field, or what no list of records is.
ParameterValue recordsFrom(const Parameter& row, const JSON& array) {
    std::vector<ParameterRecord> records;
    if (!array.is_array()) return false;
    for (const JSON& entry : array) {
        if (!entry.is_object()) return false;
        std::vector<ParameterValue>& values = records.emplace_back().values;
        for (const Parameter& field : row.fields) {
            const auto found = entry.find(field.key);
            const bool isLeftOut = found == entry.end() || found->is_null();
            values.push_back(isLeftOut ? ParameterValue() : valueFor(field, *found));
        }
    }
    return records;
}

/// A value for the row to take, or to refuse in its own words.
ParameterValue valueFor(const Parameter& row, const JSON& value) {
    if (row.shape == ParameterShape::records) return recordsFrom(row, value);
    const ParameterValue refused =
        row.shape == ParameterShape::list ? ParameterValue(false) : ParameterValue(std::vector<std::int64_t>{});
    if (row.shape == ParameterShape::flags) {
        if (value.is_number_unsigned()) return static_cast<std::int64_t>(value.get<std::uint64_t>());
        return value.is_number_float() && value.get<double>() >= 0 ? plainValue(value).value_or(refused) : refused;
    }
    // By number a choice is only known inside the program.
    if (row.shape == ParameterShape::choice && !value.is_string()) return refused;
    return plainValue(value).value_or(refused);
}

void takeTolerantly(const Parameter& row, const JSON& value, void* settings) {
    const IntegerLimits limits = limitsOf(row.shape);
    if (const auto integer = integerIn(value)) row.write(settings, std::clamp(*integer, limits.low, limits.high), row);
}

void take(const Parameter& row, const JSON& record, void* settings) {
    const auto found = record.find(row.key);
    if (found == record.end() || found->is_null()) return;
    if (row.isTolerant)
        takeTolerantly(row, *found, settings);
    else
        row.write(settings, valueFor(row, *found), row);
}

std::string recordText(const PipeTool& tool) {
    JSON record = JSON::object();
    tool.viewSettings(SettingsBase::current, [&](const void* settings) {
        for (const Parameter& row : tool.definition().parameters) {
            if (row.key.empty()) continue;
            JSON value = jsonFrom(row.read(settings), row);
            if (!value.is_null()) record[std::string(row.key)] = std::move(value);
        }
    });
    if (auto content = tool.content(); !content.empty()) record[std::string(tool.contentKey())] = std::move(content);
    return record.dump(-1, ' ', false, JSON::error_handler_t::replace);
}

void takeContent(const JSON& record, PipeTool& tool) {
    const auto found = tool.contentKey().empty() ? record.end() : record.find(tool.contentKey());
    if (found == record.end() || found->is_null()) return;
    const auto content = plainValue(*found);
    const auto* list = content ? std::get_if<std::vector<std::int64_t>>(&*content) : nullptr;
    if (!list) throw ParameterError('"' + std::string(tool.contentKey()) + "\" must be a list of integers");
    tool.adoptContent(*list);
}

void decode(std::string_view data, PipeTool& tool) {
    const JSON record = parseBoundedJSON(data);
    if (!record.is_object()) throw DocumentError("expected an object");
    takeContent(record, tool);
    tool.editSettings(SettingsBase::silence, [&](void* settings) {
        for (const Parameter& row : tool.definition().parameters)
            if (!row.key.empty()) take(row, record, settings);
    });
    tool.recordWasApplied();
}

}  // namespace

std::optional<std::string> encodeConfig(const PipeTool& tool) {
    const std::string_view name = tool.definition().record;
    if (name.empty()) return std::nullopt;
    try {
        return recordText(tool);
    } catch (const std::exception& fault) {
        VarnolexLogger::shared().error("Encode failed for " + std::string(name) + ": " + fault.what());
        return std::nullopt;
    }
}

void applyConfig(std::string_view data, PipeTool& tool) {
    if (const auto reason = tryApplyConfig(data, tool)) VarnolexLogger::shared().error(decodeFailure(tool, *reason));
}

std::optional<std::string> tryApplyConfig(std::string_view data, PipeTool& tool) {
    if (data.empty() || tool.definition().record.empty()) return std::nullopt;
    try {
        decode(data, tool);
        return std::nullopt;
    } catch (const ParameterError& fault) {
        return fault.what();
    } catch (const DocumentError& fault) {
        return fault.what();
    }
}

std::string decodeFailure(const PipeTool& tool, std::string_view reason) {
    return "Decode failed for " + std::string(tool.definition().record) + ": " + std::string(reason);
}

}  // namespace varnolex
