#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace varnolex {

/// One value of a compiled configuration. A whole number stays an integer: the records refuse 12.0 where they want 12.
using ConfigValue = std::variant<std::int64_t, double, bool, std::string, std::vector<std::int64_t>>;

/// A partial configuration record by key, in the order of the keys. An absent key means the record's default.
using CompiledConfig = std::map<std::string, ConfigValue>;

/// A tool that the text asks for.
struct DSLCompiledNode {
    /// The raw value of a tool kind.
    std::string toolType;
    CompiledConfig config;

    bool operator==(const DSLCompiledNode&) const = default;
};

/// A MIDI cable between two nodes, by index.
struct DSLConnection {
    std::size_t from = 0;
    std::size_t to = 0;

    bool operator==(const DSLConnection&) const = default;
};

/// A value cable from a node into the named value port of another.
struct DSLValueConnection {
    std::size_t from = 0;
    std::size_t to = 0;
    std::string portID;

    bool operator==(const DSLValueConnection&) const = default;
};

}  // namespace varnolex
