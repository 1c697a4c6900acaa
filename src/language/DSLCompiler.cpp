#include "language/DSLCompiler.hpp"

#include <algorithm>
#include <utility>

#include "language/NodeNames.hpp"
#include "language/NodeParameters.hpp"
#include "language/NoteName.hpp"
#include "language/PostPass.hpp"
#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

// Blocks inside blocks deeper than this add nothing. Nobody writes them, and each level costs stack and another pass.
constexpr int deepestNesting = 64;

constexpr std::int64_t defaultSplitKey = 60;

bool isFanOut(std::string_view segment) { return segment.starts_with('[') && segment.ends_with(']'); }

bool beginsBlock(std::string_view segment) { return beginsSplitBlock(segment) || beginsGateBlock(segment); }

/// The text from the beginning of one piece to the end of a later one of the same text.
std::string_view spanning(std::string_view first, std::string_view last) {
    return {first.data(), static_cast<std::size_t>(last.data() + last.size() - first.data())};
}

/// The 0-based channel of one half of a split.
std::int64_t halfChannel(const Block& block, std::string_view label, std::int64_t fallback) {
    for (const auto& branch : block.branches) {
        if (branch.label == label && branch.channel) return *branch.channel;
    }
    return fallback;
}

DSLCompiledNode splitNode(std::int64_t key, bool isHigh, std::int64_t channel) {
    return {"Split", {{"splitKey", key}, {"isHigh", isHigh}, {"outputChannel", channel}}};
}

DSLCompiledNode channelFilterNode(std::int64_t mask) { return {"ChannelFilter", {{"channelMask", mask}}}; }

std::int64_t channelBit(std::int64_t channel) { return channel < 16 ? std::int64_t{1} << channel : 0; }

}  // namespace

DSLCompiler::CompilerError DSLCompiler::CompilerError::unknownNode(std::string_view name) {
    return CompilerError(name);
}

DSLCompiler::CompilerError::CompilerError(std::string_view unknownName)
    : nodeName(unknownName), message("Unknown node '" + nodeName + "' — only use nodes listed in the DSL reference.") {}

void DSLCompiler::compile(std::string_view source) {
    nodes.clear();
    connections.clear();
    valueConnections.clear();

    const std::string program = normalised(source);
    for (const auto statement : splitStatements(program)) compileChain(statement, std::nullopt, 0);

    connectClocksToArpeggiators(nodes, connections);
    synchroniseClockedLFOs(nodes, connections);
    insertDisassemblers(nodes, connections);
}

void DSLCompiler::compileChain(std::string_view chain, Hook hook, int depth) {
    const auto segments = splitChain(chain);
    for (std::size_t index = 0; index < segments.size(); ++index) {
        const auto segment = segments[index];
        if (segment.empty()) continue;
        if (isFanOut(segment)) {
            compileFanOut(segment, hook, depth + 1);
            hook.reset();
        } else if (beginsBlock(segment)) {
            index = endOfBlock(segments, index);
            compileBlock(spanning(segment, segments[index]), hook, depth + 1);
            hook.reset();
        } else {
            hook = compileNode(segment, hook);
        }
    }
}

void DSLCompiler::compileFanOut(std::string_view segment, Hook hook, int depth) {
    if (depth > deepestNesting) return;
    for (const auto branch : splitList(withoutBrackets(segment))) compileChain(branch, hook, depth);
}

void DSLCompiler::compileBlock(std::string_view text, Hook hook, int depth) {
    if (depth > deepestNesting) return;
    const auto block = readBlock(text);
    if (!block) return;
    if (beginsSplitBlock(text)) {
        compileSplitBlock(*block, hook, depth);
    } else {
        compileGateBlock(*block, hook, depth);
    }
}

void DSLCompiler::compileSplitBlock(const Block& block, Hook hook, int depth) {
    const auto key = std::clamp<std::int64_t>(readNote(block.head).value_or(defaultSplitKey), 0, 255);
    const auto lowChannel = halfChannel(block, "low", 0);
    const auto highChannel = halfChannel(block, "high", 1);
    const auto low = append(splitNode(key, false, lowChannel), hook);
    const auto high = append(splitNode(key, true, highChannel), low);

    for (const auto& branch : block.branches) {
        auto mask = std::int64_t{1};
        if (branch.label == "low") mask = channelBit(lowChannel);
        if (branch.label == "high") mask = channelBit(highChannel);
        compileChain(branch.chain, append(channelFilterNode(mask), high), depth);
    }
}

void DSLCompiler::compileGateBlock(const Block& block, Hook hook, int depth) {
    auto condition = readCondition(block.head);
    // Without a cable the source would read nothing, and the gate would never move.
    const auto source = append(condition.source, hook);
    const auto whenTrue = append(logicNode(condition, 100, 0), std::nullopt);
    const auto whenFalse = append(logicNode(condition, 0, 100), std::nullopt);
    valueConnections.push_back({source, whenTrue, "inputA"});
    valueConnections.push_back({source, whenFalse, "inputA"});

    compileGateBranches(block, "on", whenTrue, hook, depth);
    compileGateBranches(block, "off", whenFalse, hook, depth);
}

void DSLCompiler::compileGateBranches(const Block& block, std::string_view label, std::size_t logic, Hook hook,
                                      int depth) {
    for (const auto& branch : block.branches) {
        if (branch.label != label || branch.chain.empty()) continue;
        const auto velocity = append({"VelocityMod", {}}, hook);
        valueConnections.push_back({logic, velocity, "scalePercent"});
        compileChain(branch.chain, velocity, depth);
    }
}

std::size_t DSLCompiler::compileNode(std::string_view segment, Hook hook) {
    const auto call = readCall(segment);
    const auto* row = findNodeName(call.name);
    if (!row) throw CompilerError::unknownNode(call.name);

    NodeDraft draft;
    if (row->readParameters) {
        NodeParameters parameters(call.params, draft);
        row->readParameters(parameters);
    }
    appendSupport(std::move(draft.support), hook);
    return append({std::string(row->toolType), std::move(draft.config)}, hook);
}

void DSLCompiler::appendSupport(SupportNodes support, Hook hook) {
    const auto first = nodes.size();
    for (auto& node : support.nodes) {
        const bool listens = readsMIDI(node);
        append(std::move(node), listens ? hook : std::nullopt);
    }
    for (auto& cable : support.valueConnections) {
        valueConnections.push_back({first + cable.from, first + cable.to, std::move(cable.portID)});
    }
}

std::size_t DSLCompiler::append(DSLCompiledNode node, Hook hook) {
    const auto index = nodes.size();
    nodes.push_back(std::move(node));
    if (hook) connections.push_back({*hook, index});
    return index;
}

}  // namespace varnolex
