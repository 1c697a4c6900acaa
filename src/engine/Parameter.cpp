#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "engine/ListParameters.hpp"
#include "platform/UUID.hpp"

namespace varnolex {
namespace {

[[noreturn]] void refuse(const Parameter& row, std::string_view expected) {
    throw ParameterError("\"" + std::string(row.key) + "\" must be " + std::string(expected));
}

std::string rangeText(IntegerLimits limits) {
    return "an integer from " + std::to_string(limits.low) + " to " + std::to_string(limits.high);
}

}  // namespace

std::string_view nameOf(ParameterShape shape) {
    static constexpr std::array<std::string_view, 13> names{
        "toggle", "integer", "byte", "word",     "signedWord",    "flags",   "real",
        "choice", "text",    "list", "uniqueID", "virtualPortID", "records",
    };
    return names[static_cast<std::size_t>(shape)];
}

IntegerLimits limitsOf(ParameterShape shape) {
    switch (shape) {
        case ParameterShape::byte:
            return {0, 255};
        case ParameterShape::word:
            return {0, 65535};
        case ParameterShape::signedWord:
            return {-32768, 32767};
        case ParameterShape::uniqueID:
        case ParameterShape::virtualPortID:
            return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
        default:
            return {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()};
    }
}

namespace parameters {

std::int64_t integerIn(const ParameterValue& value, const Parameter& row) {
    const IntegerLimits limits = limitsOf(row.shape);
    const auto* number = std::get_if<std::int64_t>(&value);
    if (!number) refuse(row, row.shape == ParameterShape::integer ? "an integer" : rangeText(limits));
    return entryIn(*number, limits, row);
}

std::int64_t entryIn(std::int64_t entry, IntegerLimits limits, const Parameter& row) {
    if (entry < limits.low || entry > limits.high)
        refuse(row, row.shape == ParameterShape::list ? "a list of integers, each " + rangeText(limits).substr(11)
                                                      : rangeText(limits));
    return entry;
}

double realIn(const ParameterValue& value, const Parameter& row) {
    if (const auto* real = std::get_if<double>(&value)) return *real;
    if (const auto* integer = std::get_if<std::int64_t>(&value)) return static_cast<double>(*integer);
    refuse(row, "a number");
}

bool toggleIn(const ParameterValue& value, const Parameter& row) {
    if (const auto* toggle = std::get_if<bool>(&value)) return *toggle;
    refuse(row, "true or false");
}

const std::string& textIn(const ParameterValue& value, const Parameter& row) {
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    refuse(row, "a text");
}

const std::vector<std::int64_t>& listIn(const ParameterValue& value, const Parameter& row) {
    if (const auto* list = std::get_if<std::vector<std::int64_t>>(&value)) return *list;
    refuse(row, "a list of integers");
}

std::uint8_t limitedByteIn(const ParameterValue& value, const Parameter& row) {
    return static_cast<std::uint8_t>(std::clamp<std::int64_t>(integerIn(value, row), 0, 255));
}

const std::vector<ParameterRecord>& recordsIn(const ParameterValue& value, const Parameter& row) {
    if (const auto* list = std::get_if<std::vector<ParameterRecord>>(&value)) return *list;
    refuse(row, "a list of objects");
}

void writeEntry(void* entry, const ParameterRecord& record, const Parameter& row) {
    try {
        for (std::size_t index = 0; index < row.fields.size(); ++index) {
            const Parameter& field = row.fields[index];
            const bool isLeftOut =
                index >= record.values.size() || std::holds_alternative<std::monostate>(record.values[index]);
            if (!isLeftOut)
                field.write(entry, record.values[index], field);
            else if (field.isRequired)
                throw ParameterError("\"" + std::string(field.key) + "\" is missing");
        }
    } catch (const ParameterError& fault) {
        throw ParameterError("\"" + std::string(row.key) + "\": " + fault.what());
    }
}

ParameterRecord readEntry(const void* entry, std::span<const Parameter> fields) {
    ParameterRecord record;
    record.values.reserve(fields.size());
    for (const Parameter& field : fields) record.values.push_back(field.read(entry));
    return record;
}

std::size_t choiceIn(const ParameterValue& value, const Parameter& row) {
    if (const auto* number = std::get_if<std::int64_t>(&value))
        return *number >= 0 && static_cast<std::size_t>(*number) < row.choices.size()
                   ? static_cast<std::size_t>(*number)
                   : row.fallbackChoice;
    const std::string& wanted = textIn(value, row);
    for (std::size_t index = 0; index < row.choices.size(); ++index)
        if (row.choices[index] == wanted) return index;
    return row.fallbackChoice;
}

std::optional<std::int32_t> virtualPortIDIn(const ParameterValue& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        return UUID::fromText(*text) ? std::optional<std::int32_t>(-1) : std::nullopt;
    const auto* number = std::get_if<std::int64_t>(&value);
    if (!number || !std::in_range<std::int32_t>(*number)) return std::nullopt;
    return static_cast<std::int32_t>(*number);
}

}  // namespace parameters
}  // namespace varnolex
