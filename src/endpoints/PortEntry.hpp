#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnolex {

/// One virtual port as the defaults store keeps it.
struct PortEntry {
    std::string name;
    std::int32_t uniqueID = 0;
    bool isOutput = false;

    bool operator==(const PortEntry&) const = default;
};

/// More ports than this are no list of ours.
inline constexpr std::size_t portEntryLimit = 1024;

/// Reads a JSON array of entries; nothing unless the whole text is one and every entry has its three keys with values
/// of the right kind and range.
std::optional<std::vector<PortEntry>> portEntriesFromJSON(std::string_view text);

/// Writes the entries as such an array. Bytes of a name that are no UTF-8 become the replacement character.
std::string jsonFromPortEntries(const std::vector<PortEntry>& entries);

}  // namespace varnolex
