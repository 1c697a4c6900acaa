#include "language/ValueExpression.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

constexpr std::string_view counterWord = "$counter";

struct Source {
    DSLCompiledNode node;
    /// The text behind the source call.
    std::string_view rest;
};

bool isWordCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_';
}

std::int64_t byteOr(std::string_view text, std::int64_t fallback) {
    return std::clamp<std::int64_t>(readInteger(text).value_or(fallback), 0, 255);
}

DSLCompiledNode dataReader(std::string filter, std::string field) {
    return {"DataReader", {{"filter", std::move(filter)}, {"field", std::move(field)}}};
}

DSLCompiledNode controllerReader(std::string_view argument) {
    auto node = dataReader("specificCC", "dataByte2");
    node.config["specificCC"] = byteOr(argument, 0);
    return node;
}

DSLCompiledNode wordReader(std::string_view word) {
    if (word == "vel") return dataReader("noteOn", "dataByte2");
    if (word == "note") return dataReader("noteOn", "dataByte1");
    if (word == "aftertouch") return dataReader("cc", "dataByte2");
    return dataReader("any", "dataByte2");
}

void setTrigger(CompiledConfig& config, std::string_view trigger) {
    const bool isController = lowerCased(trigger.substr(0, 2)) == "cc";
    config["triggerType"] = std::string(isController ? "cc" : "noteOn");
    const auto first = trigger.find_first_of("0123456789");
    if (!isController || first == std::string_view::npos) return;
    const auto digits = trigger.substr(first, trigger.find_first_not_of("0123456789", first) - first);
    config["triggerCC"] = byteOr(digits, 0);
}

DSLCompiledNode counter(std::string_view arguments) {
    auto parts = splitList(arguments);
    parts.resize(3);
    DSLCompiledNode node{"Counter", {}};
    node.config["minValue"] = readReal(parts[0]).value_or(0);
    node.config["maxValue"] = readReal(parts[1]).value_or(7);
    setTrigger(node.config, parts[2]);
    return node;
}

/// The first source in the text. A text without any reads as a source of no known name does.
Source readSource(std::string_view text) {
    const auto counterAt = text.find(counterWord);
    const bool isCounter = counterAt != std::string_view::npos;
    const auto dollar = isCounter ? counterAt : text.find('$');
    if (dollar == std::string_view::npos) return {wordReader({}), {}};

    auto rest = text.substr(dollar + 1);
    const auto wordEnd = std::find_if_not(rest.begin(), rest.end(), isWordCharacter);
    const auto word = rest.substr(0, static_cast<std::size_t>(wordEnd - rest.begin()));
    rest.remove_prefix(word.size());

    std::optional<std::string_view> arguments;
    if (rest.starts_with('(')) {
        arguments = insideParentheses(rest, 0);
        rest.remove_prefix(std::min(arguments->size() + 2, rest.size()));
    }
    if (isCounter) return {counter(arguments.value_or("")), rest};
    if (arguments && (word == "CC" || word == "cc")) return {controllerReader(*arguments), rest};
    return {wordReader(word), rest};
}

DSLCompiledNode scaleNode(double factor) {
    return {"Manipulator", {{"operation", "A × Scale"}, {"scaleFactor", factor}}};
}

DSLCompiledNode offsetNode(double offset) {
    return {"Manipulator", {{"operation", "A + Offset"}, {"offsetValue", offset}}};
}

DSLCompiledNode invertNode(double from) { return {"Manipulator", {{"operation", "127 − A"}, {"offsetValue", from}}}; }

/// Nodes that feed each other in a row, the last of them the port.
SupportNodes inARow(std::vector<DSLCompiledNode> nodes, std::string_view port) {
    SupportNodes support{std::move(nodes), {}};
    const auto count = support.nodes.size();
    for (std::size_t index = 0; index < count; ++index) {
        const bool last = index + 1 == count;
        support.valueConnections.push_back({index, index + 1, last ? std::string(port) : "inputA"});
    }
    return support;
}

SupportNodes compileCondition(std::string_view text, std::size_t questionMark, std::string_view port) {
    const auto condition = readCondition(text.substr(0, questionMark));
    const auto values = text.substr(questionMark + 1);
    const auto colon = values.find(':');
    const auto otherwise = colon == std::string_view::npos ? std::string_view() : values.substr(colon + 1);
    const auto trueValue = readReal(values.substr(0, colon)).value_or(0);
    const auto falseValue = readReal(otherwise.substr(0, otherwise.find(':'))).value_or(0);
    return inARow({condition.source, logicNode(condition, trueValue, falseValue)}, port);
}

SupportNodes compileDifference(std::string_view text, std::size_t minus, std::string_view port) {
    const auto from = readReal(text.substr(0, minus)).value_or(127);
    return inARow({readSource(text.substr(minus)).node, invertNode(from)}, port);
}

struct ScaleAndOffset {
    std::optional<double> scale;
    std::optional<double> offset;
};

/// Reads `* 2 + 10` and the like. A minus is read as well, as what a writer of `$vel - 5` means by it.
ScaleAndOffset readArithmetic(std::string_view text) {
    ScaleAndOffset found;
    while (!text.empty()) {
        const char sign = text.front();
        text.remove_prefix(1);
        if (sign != '*' && sign != '+' && sign != '-') continue;
        text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
        const auto number = takeReal(text);
        if (!number) continue;
        (sign == '*' ? found.scale : found.offset) = sign == '-' ? -*number : *number;
    }
    return found;
}

SupportNodes compileArithmetic(std::string_view text, std::string_view port, std::optional<RealRange> range) {
    auto source = readSource(text);
    auto [scale, offset] = readArithmetic(source.rest);
    if (!scale && !offset && range && std::isfinite(range->high - range->low)) {
        scale = (range->high - range->low) / 127;
        offset = range->low;
    }
    std::vector<DSLCompiledNode> nodes{std::move(source.node)};
    if (scale) nodes.push_back(scaleNode(*scale));
    if (offset) nodes.push_back(offsetNode(*offset));
    return inARow(std::move(nodes), port);
}

}  // namespace

bool readsMIDI(const DSLCompiledNode& node) { return node.toolType == "DataReader" || node.toolType == "Counter"; }

SourceCondition readCondition(std::string_view text) {
    const auto greater = text.find('>');
    const bool isGreater = greater != std::string_view::npos;
    const auto comparison = isGreater ? greater : text.find('<');
    SourceCondition condition{readSource(text.substr(0, comparison)).node,
                              isGreater ? "A > Threshold" : "A < Threshold"};
    if (comparison == std::string_view::npos) return condition;
    auto threshold = text.substr(comparison + 1);
    // There is no "at least"; what a writer of ">= 64" means is nearer to 64 than to a threshold of 0.
    if (threshold.starts_with('=')) threshold.remove_prefix(1);
    condition.threshold = readReal(threshold).value_or(0);
    return condition;
}

DSLCompiledNode logicNode(const SourceCondition& condition, double trueValue, double falseValue) {
    return {"Logic",
            {{"operation", condition.operation},
             {"threshold", condition.threshold},
             {"trueValue", trueValue},
             {"falseValue", falseValue}}};
}

std::optional<SupportNodes> compileValueExpression(std::string_view text, std::string_view port,
                                                   std::optional<RealRange> range) {
    if (text.find('$') == std::string_view::npos) return std::nullopt;
    if (const auto questionMark = text.find('?'); questionMark != std::string_view::npos) {
        return compileCondition(text, questionMark, port);
    }
    if (const auto minus = text.find(" - $"); minus != std::string_view::npos) {
        return compileDifference(text, minus, port);
    }
    if (text.starts_with('$')) return compileArithmetic(text, port, range);
    return std::nullopt;
}

}  // namespace varnolex
