#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "language/CompiledNode.hpp"
#include "language/NumberReading.hpp"

namespace varnolex {

/// The nodes that compute the value of one parameter, ahead of the node that has it.
struct SupportNodes {
    std::vector<DSLCompiledNode> nodes;
    /// Indexes into `nodes`; `nodes.size()` stands for the node that has the parameter.
    std::vector<DSLValueConnection> valueConnections;
};

/// A source compared with a threshold, as conditions and gates use it.
struct SourceCondition {
    DSLCompiledNode source;
    /// The stored name of the comparison.
    std::string operation;
    double threshold = 0;
};

/// True of the nodes that read the MIDI stream and so want a cable from what stands before them.
bool readsMIDI(const DSLCompiledNode& node);

SourceCondition readCondition(std::string_view text);

/// A `Logic` node that yields `trueValue` while the condition holds and `falseValue` otherwise.
DSLCompiledNode logicNode(const SourceCondition& condition, double trueValue, double falseValue);

/// Compiles a value expression that drives `port` of the main node. A source alone is spread over `range`, if there is
/// one. Nothing for a text that is no value expression.
std::optional<SupportNodes> compileValueExpression(std::string_view text, std::string_view port,
                                                   std::optional<RealRange> range);

}  // namespace varnolex
