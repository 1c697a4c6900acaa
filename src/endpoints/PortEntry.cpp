#include "endpoints/PortEntry.hpp"

#include <limits>

#include <nlohmann/json.hpp>

namespace varnolex {

namespace {

using JSON = nlohmann::ordered_json;

template <class Value>
const Value* valueAt(const JSON& object, const char* key) {
    const auto found = object.find(key);
    return found == object.end() ? nullptr : found->get_ptr<const Value*>();
}

std::optional<std::int32_t> integerAt(const JSON& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_integer()) return std::nullopt;
    using Limits = std::numeric_limits<std::int32_t>;
    if (found->is_number_unsigned() && found->get<std::uint64_t>() > static_cast<std::uint64_t>(Limits::max()))
        return std::nullopt;
    const auto value = found->get<std::int64_t>();
    if (value < Limits::min()) return std::nullopt;
    return static_cast<std::int32_t>(value);
}

std::optional<PortEntry> entryFrom(const JSON& object) {
    if (!object.is_object()) return std::nullopt;
    const auto* name = valueAt<JSON::string_t>(object, "name");
    const auto uniqueID = integerAt(object, "uniqueID");
    const auto* isOutput = valueAt<JSON::boolean_t>(object, "isOutput");
    if (!name || !uniqueID || !isOutput) return std::nullopt;
    return PortEntry{*name, *uniqueID, *isOutput};
}

}  // namespace

std::optional<std::vector<PortEntry>> portEntriesFromJSON(std::string_view text) {
    const JSON array = JSON::parse(text.begin(), text.end(), nullptr, false);
    if (!array.is_array() || array.size() > portEntryLimit) return std::nullopt;
    std::vector<PortEntry> entries;
    entries.reserve(array.size());
    for (const JSON& object : array) {
        auto entry = entryFrom(object);
        if (!entry) return std::nullopt;
        entries.push_back(std::move(*entry));
    }
    return entries;
}

std::string jsonFromPortEntries(const std::vector<PortEntry>& entries) {
    JSON array = JSON::array();
    for (const PortEntry& entry : entries)
        array.push_back({{"name", entry.name}, {"uniqueID", entry.uniqueID}, {"isOutput", entry.isOutput}});
    return array.dump(-1, ' ', false, JSON::error_handler_t::replace);
}

}  // namespace varnolex
