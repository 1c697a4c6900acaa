#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "language/CallReading.hpp"
#include "language/CompiledNode.hpp"
#include "language/NumberReading.hpp"
#include "language/ValueExpression.hpp"

namespace varnolex {

/// What a node call compiles to, but for its place in the graph.
struct NodeDraft {
    CompiledConfig config;
    SupportNodes support;
};

/// A word of a parameter and the number that it stands for.
struct ParameterWord {
    std::string_view word;
    std::int64_t value = 0;
};

/// The number of a word, matched exactly.
std::optional<std::int64_t> findWord(std::span<const ParameterWord> words, std::string_view text);

/// The parameters of one call, and the configuration that they fill. The parameter functions speak in its terms.
///
/// The setters take the text of a parameter or nothing when it is absent. A text that doesn't read counts as absent,
/// and an absent one sets the fallback if there is one and else leaves the key out.
class NodeParameters {
public:
    using Text = std::optional<std::string_view>;
    using Keys = std::initializer_list<std::string_view>;

    /// Both must outlive the object.
    NodeParameters(const std::vector<DSLParam>& callParams, NodeDraft& nodeDraft);

    /// The value of the last parameter with one of the keys, matched exactly.
    Text named(Keys keys) const;
    /// The positional parameter at a place counted from 0 among the positional ones.
    Text positional(std::size_t place) const;
    const std::vector<std::string_view>& positionals() const { return words; }
    const std::vector<DSLParam>& all() const { return params; }

    void set(std::string_view key, ConfigValue value);
    /// True for the word true, false for any other text.
    void toggle(std::string_view key, Text text);
    void integer(std::string_view key, Text text, std::optional<std::int64_t> fallback = std::nullopt);
    /// Held to 0 to 255: a record refuses a larger number in a byte, and all its other settings with it.
    void byte(std::string_view key, Text text, std::optional<std::int64_t> fallback = std::nullopt);
    void real(std::string_view key, Text text, std::optional<double> fallback = std::nullopt);
    void choice(std::string_view key, Text text, std::span<const ParameterWord> choices);
    /// Two bytes.
    void range(std::string_view lowKey, std::string_view highKey, IntegerRange values);
    /// Compiles a value expression into the named port. False if the text is none.
    bool expression(std::string_view port, Text text, std::optional<RealRange> range = std::nullopt);
    /// The parameter `range:a..b`, over which a value expression is spread.
    std::optional<RealRange> expressionRange() const;

private:
    const std::vector<DSLParam>& params;
    NodeDraft& draft;
    std::vector<std::string_view> words;
};

/// A controller number written as `CC7` or `CC(7)`.
std::optional<std::int64_t> readController(std::string_view text);

/// Two numbers written as `a->b`.
std::optional<IntegerRange> readArrow(std::string_view text);

}  // namespace varnolex
