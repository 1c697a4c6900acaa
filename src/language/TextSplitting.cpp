#include "language/TextSplitting.hpp"

#include <array>

namespace varnolex {

namespace {

/// What each byte does to the depth: the opening brackets raise it, the closing ones lower it.
using BracketSteps = std::array<signed char, 256>;

constexpr BracketSteps stepsOf(std::string_view opening, std::string_view closing) {
    BracketSteps steps{};
    for (const char bracket : opening) steps[static_cast<unsigned char>(bracket)] = 1;
    for (const char bracket : closing) steps[static_cast<unsigned char>(bracket)] = -1;
    return steps;
}

constexpr BracketSteps braces = stepsOf("{", "}");
constexpr BracketSteps parenthesesAndBrackets = stepsOf("([", ")]");
constexpr BracketSteps allBrackets = stepsOf("([{", ")]}");

std::vector<std::string_view> splitAt(std::string_view text, std::string_view separator, const BracketSteps& steps) {
    std::vector<std::string_view> pieces;
    std::size_t begin = 0;
    std::size_t depth = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (depth == 0 && text[at] == separator[0] && text.substr(at, separator.size()) == separator) {
            pieces.push_back(trimmed(text.substr(begin, at - begin)));
            at += separator.size();
            begin = at;
            continue;
        }
        const int step = steps[static_cast<unsigned char>(text[at++])];
        if (step > 0) ++depth;
        if (step < 0 && depth > 0) --depth;
    }
    pieces.push_back(trimmed(text.substr(begin)));
    return pieces;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string lowerCased(std::string_view text) {
    std::string lower(text);
    for (char& character : lower) {
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    }
    return lower;
}

std::string normalised(std::string_view source) {
    // Text files from other systems begin with a mark or end their lines with a carriage return; neither is a name.
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (source.starts_with(byteOrderMark)) source.remove_prefix(byteOrderMark.size());

    std::string text;
    text.reserve(source.size());
    for (std::size_t at = 0; at < source.size(); ++at) {
        const bool escapedLineEnd = source.substr(at, 2) == "\\n";
        text += escapedLineEnd || source[at] == '\r' ? '\n' : source[at];
        if (escapedLineEnd) ++at;
    }
    return text;
}

std::vector<std::string_view> splitStatements(std::string_view program) {
    auto statements = splitAt(program, "\n", braces);
    std::erase_if(statements, [](std::string_view statement) { return statement.empty(); });
    return statements;
}

std::vector<std::string_view> splitChain(std::string_view chain) {
    return splitAt(chain, " -> ", parenthesesAndBrackets);
}

std::vector<std::string_view> splitList(std::string_view list) {
    if (trimmed(list).empty()) return {};
    return splitAt(list, ",", allBrackets);
}

std::string_view withoutBrackets(std::string_view text) {
    const auto list = trimmed(text);
    const bool bracketed = list.size() >= 2 && list.front() == '[' && list.back() == ']';
    return bracketed ? list.substr(1, list.size() - 2) : list;
}

std::string_view insideParentheses(std::string_view text, std::size_t opening) {
    const auto inside = text.substr(opening + 1);
    std::size_t depth = 1;
    for (std::size_t at = 0; at < inside.size(); ++at) {
        if (inside[at] == '(') ++depth;
        if (inside[at] == ')' && --depth == 0) return inside.substr(0, at);
    }
    return inside;
}

}  // namespace varnolex
