#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "engine/ValuePort.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

struct ParameterRecord;

/// The value of one parameter on its way between a tool's settings and whoever speaks of parameters without
/// knowing the tool: documents, patches, the command line, undo. `monostate` is "none" of an optional one.
using ParameterValue = std::variant<std::monostate, bool, std::int64_t, double, std::string, std::vector<std::int64_t>,
                                    std::vector<ParameterRecord>>;

/// One entry of a list of small records: a value for each of the list's `fields`, in their order. `monostate` stands
/// for a field that is left out.
struct ParameterRecord {
    std::vector<ParameterValue> values;

    bool operator==(const ParameterRecord&) const = default;
};

/// What a parameter is to the outside.
enum class ParameterShape {
    toggle,
    integer,
    byte,
    word,
    signedWord,
    flags,
    real,
    choice,
    text,
    list,
    uniqueID,
    virtualPortID,
    records
};

/// The name under which a shape is shown: "toggle", "integer" and so on.
std::string_view nameOf(ParameterShape shape);

/// A value that a parameter can't take. The text names the key and what was expected.
class ParameterError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One row of a tool's table: the only place that lists the parameter. Rows are static; they reach into a tool's
/// settings record and into its live values, which are handed in as untyped pointers by the tool that owns both.
struct Parameter {
    /// The key in records. Empty for a row that is only a port.
    std::string_view key;
    ParameterShape shape = ParameterShape::integer;

    /// Read forgivingly: a number outside the shape's range is limited to it, anything else takes the default.
    bool isTolerant = false;

    /// May be absent in the settings too: then it isn't written at all.
    bool isOptional = false;

    /// Must not be left out: for a field of an entry of a list of records.
    bool isRequired = false;

    /// What each entry of a list of records has.
    std::span<const Parameter> fields{};

    /// The texts of a choice, by number, and which of them any other text means.
    std::span<const std::string_view> choices{};
    std::size_t fallbackChoice = 0;

    ParameterValue (*read)(const void* settings) = nullptr;

    /// Sets a value of the shape's own type. Throws `ParameterError` for one that the member can't hold.
    void (*write)(void* settings, const ParameterValue& value, const Parameter& row) = nullptr;

    /// Present when the parameter is a value port; ports are listed by `portPlace`, then in table order.
    std::optional<ValuePort> valuePort{};
    int portPlace = 0;

    /// The live value that takes precedence over the stored one while it is set; absent when it can't be ridden.
    LiveValue* (*live)(void* lives) = nullptr;

    /// Under which name the live value is ridden: the port's, or the key when there is no port.
    std::string_view liveKey() const { return valuePort ? valuePort->id : key; }

    // What a table row says beside its key and member, in a chain of calls.

    constexpr Parameter tolerant() const {
        Parameter row = *this;
        row.isTolerant = true;
        return row;
    }

    constexpr Parameter optional() const {
        Parameter row = *this;
        row.isOptional = true;
        return row;
    }

    constexpr Parameter required() const {
        Parameter row = *this;
        row.isRequired = true;
        return row;
    }

    /// Offers the parameter as a port named like its key.
    constexpr Parameter port(std::string_view label, double low, double high, int place = 0) const {
        Parameter row = *this;
        row.valuePort = ValuePort{key, label, low, high};
        row.portPlace = place;
        return row;
    }

    /// Lets the parameter be ridden through a member of the tool's live values.
    template <auto Member>
    constexpr Parameter rides() const;
};

/// The limits of a shape that has them.
struct IntegerLimits {
    std::int64_t low;
    std::int64_t high;
};
IntegerLimits limitsOf(ParameterShape shape);

namespace parameters {

template <class Member>
struct MemberOf;

template <class Record, class Value>
struct MemberOf<Value Record::*> {
    using RecordType = Record;
    using ValueType = Value;
};

/// The integer in `value`, or an error that names the row.
std::int64_t integerIn(const ParameterValue& value, const Parameter& row);
double realIn(const ParameterValue& value, const Parameter& row);
bool toggleIn(const ParameterValue& value, const Parameter& row);
const std::string& textIn(const ParameterValue& value, const Parameter& row);
const std::vector<std::int64_t>& listIn(const ParameterValue& value, const Parameter& row);
std::size_t choiceIn(const ParameterValue& value, const Parameter& row);
std::optional<std::int32_t> virtualPortIDIn(const ParameterValue& value);
/// A list entry for a member of limited width, or an error that names the row.
std::int64_t entryIn(std::int64_t entry, IntegerLimits limits, const Parameter& row);

/// A row over a member: `In` takes the value in, and `Kept` is the type in which it is given out.
template <auto Member, auto In, class Kept>
constexpr Parameter row(std::string_view key, ParameterShape shape) {
    using Record = typename MemberOf<decltype(Member)>::RecordType;
    using Value = typename MemberOf<decltype(Member)>::ValueType;
    Parameter made;
    made.key = key;
    made.shape = shape;
    made.read = [](const void* settings) -> ParameterValue {
        return static_cast<Kept>(static_cast<const Record*>(settings)->*Member);
    };
    made.write = [](void* settings, const ParameterValue& value, const Parameter& self) {
        static_cast<Record*>(settings)->*Member = static_cast<Value>(In(value, self));
    };
    return made;
}

template <auto Member>
constexpr Parameter number(std::string_view key, ParameterShape shape) {
    return row<Member, integerIn, std::int64_t>(key, shape);
}

/// A signed integer of 64 bits.
template <auto Member>
constexpr Parameter integer(std::string_view key) {
    return number<Member>(key, ParameterShape::integer);
}

/// 0 to 255.
template <auto Member>
constexpr Parameter byte(std::string_view key) {
    return number<Member>(key, ParameterShape::byte);
}

/// 0 to 65535.
template <auto Member>
constexpr Parameter word(std::string_view key) {
    return number<Member>(key, ParameterShape::word);
}

/// -32768 to 32767.
template <auto Member>
constexpr Parameter signedWord(std::string_view key) {
    return number<Member>(key, ParameterShape::signedWord);
}

/// 64 bits, each with a meaning of its own; an integer with the same bits stands for them.
template <auto Member>
constexpr Parameter flags(std::string_view key) {
    return number<Member>(key, ParameterShape::flags);
}

template <auto Member>
constexpr Parameter toggle(std::string_view key) {
    return row<Member, toggleIn, bool>(key, ParameterShape::toggle);
}

template <auto Member>
constexpr Parameter real(std::string_view key) {
    return row<Member, realIn, double>(key, ParameterShape::real);
}

template <auto Member>
constexpr Parameter text(std::string_view key) {
    return row<Member, textIn, std::string>(key, ParameterShape::text);
}

/// An enumeration that is kept as one of `texts`, by number; any other text means number `fallback`.
template <auto Member>
constexpr Parameter choice(std::string_view key, std::span<const std::string_view> texts, std::size_t fallback = 0) {
    Parameter made = row<Member, choiceIn, std::int64_t>(key, ParameterShape::choice);
    made.choices = texts;
    made.fallbackChoice = fallback;
    return made;
}

/// An array of integers, each within `low` to `high`. A shorter list sets the first entries; what is too long is
/// left out.
template <auto Member, std::int64_t low, std::int64_t high>
constexpr Parameter list(std::string_view key) {
    using Record = typename MemberOf<decltype(Member)>::RecordType;
    using Values = typename MemberOf<decltype(Member)>::ValueType;
    Parameter row;
    row.key = key;
    row.shape = ParameterShape::list;
    row.read = [](const void* settings) -> ParameterValue {
        const Values& held = static_cast<const Record*>(settings)->*Member;
        return std::vector<std::int64_t>(held.begin(), held.end());
    };
    row.write = [](void* settings, const ParameterValue& value, const Parameter& self) {
        const std::vector<std::int64_t>& entries = listIn(value, self);
        Values& held = static_cast<Record*>(settings)->*Member;
        for (std::size_t index = 0; index < entries.size(); ++index) {
            const std::int64_t entry = entryIn(entries[index], {low, high}, self);
            if (index < held.size()) held[index] = static_cast<typename Values::value_type>(entry);
        }
    };
    return row;
}

/// A row over an optional member, as `row` is over one that is always there.
template <auto Member, auto In, class Kept>
constexpr Parameter optionalRow(std::string_view key, ParameterShape shape) {
    using Record = typename MemberOf<decltype(Member)>::RecordType;
    Parameter made;
    made.key = key;
    made.shape = shape;
    made.isOptional = true;
    made.read = [](const void* settings) -> ParameterValue {
        const auto& held = static_cast<const Record*>(settings)->*Member;
        if (!held) return std::monostate{};
        return static_cast<Kept>(*held);
    };
    made.write = [](void* settings, const ParameterValue& value, const Parameter& self) {
        auto& held = static_cast<Record*>(settings)->*Member;
        if (std::holds_alternative<std::monostate>(value))
            held.reset();
        else
            held = static_cast<typename MemberOf<decltype(Member)>::ValueType::value_type>(In(value, self));
    };
    return made;
}

/// The unique ID of an endpoint: a signed 32-bit integer or none.
template <auto Member>
constexpr Parameter uniqueID(std::string_view key) {
    return optionalRow<Member, integerIn, std::int64_t>(key, ParameterShape::uniqueID);
}

/// The unique ID of a virtual port of ours, or none: an integer of 32 bits. Older files hold the text of a UUID, which
/// tells no more than that some port was chosen: it reads as -1. Anything else is none.
template <auto Member>
constexpr Parameter virtualPortID(std::string_view key) {
    using Record = typename MemberOf<decltype(Member)>::RecordType;
    Parameter row = uniqueID<Member>(key);
    row.shape = ParameterShape::virtualPortID;
    row.write = [](void* settings, const ParameterValue& value, const Parameter&) {
        static_cast<Record*>(settings)->*Member = virtualPortIDIn(value);
    };
    return row;
}

/// A port that stands for no parameter of the record.
constexpr Parameter portOnly(std::string_view id, std::string_view label, double low, double high) {
    Parameter row;
    row.valuePort = ValuePort{id, label, low, high};
    return row;
}

}  // namespace parameters

template <auto Member>
constexpr Parameter Parameter::rides() const {
    Parameter row = *this;
    row.live = [](void* lives) -> LiveValue* {
        using Record = typename parameters::MemberOf<decltype(Member)>::RecordType;
        return &(static_cast<Record*>(lives)->*Member);
    };
    return row;
}

}  // namespace varnolex
