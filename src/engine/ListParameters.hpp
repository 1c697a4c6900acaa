#pragma once

#include <algorithm>
#include <utility>

#include "engine/Parameter.hpp"

namespace varnolex::parameters {

std::uint8_t limitedByteIn(const ParameterValue& value, const Parameter& row);
const std::vector<ParameterRecord>& recordsIn(const ParameterValue& value, const Parameter& row);
/// Sets what a record says of an entry; throws `ParameterError` with the list's and the field's key.
void writeEntry(void* entry, const ParameterRecord& record, const Parameter& row);
ParameterRecord readEntry(const void* entry, std::span<const Parameter> fields);

/// An integer that the tool holds in a byte: limited to 0 to 255.
template <auto Member>
constexpr Parameter limitedByte(std::string_view key) {
    return row<Member, limitedByteIn, std::int64_t>(key, ParameterShape::integer);
}

/// A signed integer of 64 bits, or none.
template <auto Member>
constexpr Parameter optionalInteger(std::string_view key) {
    return optionalRow<Member, integerIn, std::int64_t>(key, ParameterShape::integer);
}

/// A text, or none.
template <auto Member>
constexpr Parameter optionalText(std::string_view key) {
    return optionalRow<Member, textIn, std::string>(key, ParameterShape::text);
}

/// Integers of 64 bits, as many as there are, kept in a vector.
template <auto Member>
constexpr Parameter integerList(std::string_view key) {
    return row<Member, listIn, std::vector<std::int64_t>>(key, ParameterShape::list);
}

/// Bytes, as many as there are: integers that are limited to 0 to 255.
template <auto Member>
constexpr Parameter byteList(std::string_view key) {
    using Record = typename MemberOf<decltype(Member)>::RecordType;
    Parameter made;
    made.key = key;
    made.shape = ParameterShape::list;
    made.read = [](const void* settings) -> ParameterValue {
        const auto& held = static_cast<const Record*>(settings)->*Member;
        return std::vector<std::int64_t>(held.begin(), held.end());
    };
    made.write = [](void* settings, const ParameterValue& value, const Parameter& self) {
        auto& held = static_cast<Record*>(settings)->*Member;
        held.clear();
        for (const std::int64_t entry : listIn(value, self))
            held.push_back(static_cast<std::uint8_t>(std::clamp<std::int64_t>(entry, 0, 255)));
    };
    return made;
}

/// A list of small records, kept in a vector: `Table` has the rows of one of them. A field that an entry leaves out is
/// as in a new entry, and one that is `required()` must be there.
template <auto Member, const auto& Table>
constexpr Parameter records(std::string_view key) {
    using Record = typename MemberOf<decltype(Member)>::RecordType;
    using Entries = typename MemberOf<decltype(Member)>::ValueType;
    Parameter made;
    made.key = key;
    made.shape = ParameterShape::records;
    made.fields = Table;
    made.read = [](const void* settings) -> ParameterValue {
        std::vector<ParameterRecord> list;
        for (const auto& entry : static_cast<const Record*>(settings)->*Member)
            list.push_back(readEntry(&entry, Table));
        return list;
    };
    made.write = [](void* settings, const ParameterValue& value, const Parameter& self) {
        Entries entries;
        for (const ParameterRecord& record : recordsIn(value, self)) writeEntry(&entries.emplace_back(), record, self);
        static_cast<Record*>(settings)->*Member = std::move(entries);
    };
    return made;
}

}  // namespace varnolex::parameters
