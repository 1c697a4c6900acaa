#pragma once

#include <string_view>
#include <vector>

namespace varnolex {

class NodeParameters;

/// A name of the language with the tool kind that it stands for.
struct NodeName {
    /// In lower case.
    std::string_view name;
    /// The raw value of the kind.
    std::string_view toolType;
    /// Reads the parameters of a call; null for a kind that takes none.
    void (*readParameters)(NodeParameters& call) = nullptr;
};

/// The row of a name in any case, or null for a name that the language doesn't know.
const NodeName* findNodeName(std::string_view name);

/// The names of a kind, by its raw value; none for a kind that the language can't name.
std::vector<std::string_view> namesOfKind(std::string_view toolType);

}  // namespace varnolex
