#include "language/NodeParameters.hpp"

#include <algorithm>
#include <utility>

#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

std::int64_t asByte(std::int64_t value) { return std::clamp<std::int64_t>(value, 0, 255); }

std::optional<std::int64_t> integerOf(NodeParameters::Text text) { return text ? readInteger(*text) : std::nullopt; }

}  // namespace

std::optional<std::int64_t> findWord(std::span<const ParameterWord> words, std::string_view text) {
    const auto found = std::ranges::find(words, text, &ParameterWord::word);
    if (found == words.end()) return std::nullopt;
    return found->value;
}

NodeParameters::NodeParameters(const std::vector<DSLParam>& callParams, NodeDraft& nodeDraft)
    : params(callParams), draft(nodeDraft) {
    for (const auto& param : params) {
        if (!param.key) words.push_back(param.value);
    }
}

NodeParameters::Text NodeParameters::named(Keys keys) const {
    const auto found = std::find_if(params.rbegin(), params.rend(), [&](const DSLParam& param) {
        return param.key && std::ranges::find(keys, *param.key) != keys.end();
    });
    if (found == params.rend()) return std::nullopt;
    return found->value;
}

NodeParameters::Text NodeParameters::positional(std::size_t place) const {
    if (place >= words.size()) return std::nullopt;
    return words[place];
}

void NodeParameters::set(std::string_view key, ConfigValue value) {
    draft.config.insert_or_assign(std::string(key), std::move(value));
}

void NodeParameters::toggle(std::string_view key, Text text) {
    if (text) set(key, *text == "true");
}

void NodeParameters::integer(std::string_view key, Text text, std::optional<std::int64_t> fallback) {
    const auto value = integerOf(text);
    if (value || fallback) set(key, value ? *value : *fallback);
}

void NodeParameters::byte(std::string_view key, Text text, std::optional<std::int64_t> fallback) {
    const auto value = integerOf(text);
    if (value || fallback) set(key, asByte(value ? *value : *fallback));
}

void NodeParameters::real(std::string_view key, Text text, std::optional<double> fallback) {
    const auto value = text ? readReal(*text) : std::nullopt;
    if (value || fallback) set(key, value ? *value : *fallback);
}

void NodeParameters::choice(std::string_view key, Text text, std::span<const ParameterWord> choices) {
    const auto value = text ? findWord(choices, *text) : std::nullopt;
    if (value) set(key, *value);
}

void NodeParameters::range(std::string_view lowKey, std::string_view highKey, IntegerRange values) {
    set(lowKey, asByte(values.low));
    set(highKey, asByte(values.high));
}

bool NodeParameters::expression(std::string_view port, Text text, std::optional<RealRange> range) {
    auto support = text ? compileValueExpression(*text, port, range) : std::nullopt;
    if (support) draft.support = std::move(*support);
    return support.has_value();
}

std::optional<RealRange> NodeParameters::expressionRange() const {
    const auto text = named({"range"});
    if (!text) return std::nullopt;
    return readDottedRealRange(*text);
}

std::optional<std::int64_t> readController(std::string_view text) {
    if (lowerCased(text.substr(0, 2)) != "cc") return std::nullopt;
    const auto number = trimmed(text.substr(2));
    return readInteger(number.starts_with('(') ? insideParentheses(number, 0) : number);
}

std::optional<IntegerRange> readArrow(std::string_view text) {
    const auto arrow = text.find("->");
    if (arrow == std::string_view::npos) return std::nullopt;
    const auto from = readInteger(text.substr(0, arrow));
    const auto to = readInteger(text.substr(arrow + 2));
    if (!from || !to) return std::nullopt;
    return IntegerRange{*from, *to};
}

}  // namespace varnolex
