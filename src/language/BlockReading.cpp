#include "language/BlockReading.hpp"

#include <algorithm>
#include <array>

#include "language/CallReading.hpp"
#include "language/NumberReading.hpp"
#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

constexpr std::array<std::string_view, 4> branchLabels{"low", "high", "on", "off"};

std::ptrdiff_t openBraces(std::string_view text) {
    return std::ranges::count(text, '{') - std::ranges::count(text, '}');
}

std::size_t colonOutsideParentheses(std::string_view line) {
    std::size_t depth = 0;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '(') ++depth;
        if (line[at] == ')' && depth > 0) --depth;
        if (line[at] == ':' && depth == 0) return at;
    }
    return std::string_view::npos;
}

std::optional<std::int64_t> labelChannel(const DSLCall& label) {
    std::optional<std::int64_t> channel;
    for (const auto& param : label.params) {
        if (param.key == "ch") channel = readInteger(param.value);
    }
    if (!channel || *channel < 0) return std::nullopt;
    return std::min<std::int64_t>(*channel, 255);
}

/// The branch that a line begins, if it has a label.
std::optional<BlockBranch> branchBegunBy(std::string_view line) {
    const auto colon = colonOutsideParentheses(line);
    if (colon == std::string_view::npos) return std::nullopt;
    const auto label = readCall(line.substr(0, colon));
    const auto name = lowerCased(label.name);
    if (std::ranges::find(branchLabels, name) == branchLabels.end()) return std::nullopt;
    return BlockBranch{name, labelChannel(label), std::string(trimmed(line.substr(colon + 1)))};
}

std::vector<BlockBranch> readBranches(std::string_view inside) {
    std::vector<BlockBranch> branches;
    std::ptrdiff_t nesting = 0;
    while (!inside.empty()) {
        const auto lineEnd = std::min(inside.find('\n'), inside.size());
        const auto line = trimmed(inside.substr(0, lineEnd));
        inside.remove_prefix(std::min(lineEnd + 1, inside.size()));
        if (line.empty()) continue;

        // The labels of a block inside a branch are that block's own, and it needs its line ends.
        auto begun = nesting == 0 ? branchBegunBy(line) : std::nullopt;
        if (begun) {
            branches.push_back(std::move(*begun));
        } else if (!branches.empty()) {
            branches.back().chain += nesting == 0 ? ' ' : '\n';
            branches.back().chain += line;
        }
        nesting = std::max<std::ptrdiff_t>(nesting + openBraces(line), 0);
    }
    for (auto& branch : branches) branch.chain = std::string(trimmed(branch.chain));
    return branches;
}

}  // namespace

bool beginsSplitBlock(std::string_view segment) {
    const auto word = lowerCased(segment.substr(0, 6));
    return word == "split(" || word == "split ";
}

bool beginsGateBlock(std::string_view segment) { return lowerCased(segment.substr(0, 5)) == "gate("; }

std::size_t endOfBlock(const std::vector<std::string_view>& segments, std::size_t first) {
    std::ptrdiff_t open = 0;
    for (std::size_t index = first; index < segments.size(); ++index) {
        open += openBraces(segments[index]);
        if (open <= 0) return index;
    }
    return segments.size() - 1;
}

std::optional<Block> readBlock(std::string_view text) {
    const auto begin = text.find('{');
    const auto end = text.rfind('}');
    if (begin == std::string_view::npos || end == std::string_view::npos || end < begin) return std::nullopt;
    const auto ahead = text.substr(0, begin);
    const auto opening = ahead.find('(');
    const auto head = opening == std::string_view::npos ? std::string_view() : insideParentheses(ahead, opening);
    return Block{trimmed(head), readBranches(text.substr(begin + 1, end - begin - 1))};
}

}  // namespace varnolex
