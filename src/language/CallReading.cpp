#include "language/CallReading.hpp"

#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

DSLParam readParam(std::string_view text) {
    const auto colon = text.find(':');
    const auto key = trimmed(text.substr(0, colon));
    // A value expression may hold a colon of its own: "$vel > 64 ? 127 : 0".
    const bool positional =
        colon == std::string_view::npos || key.starts_with('$') || key.find_first_of(" \t") != std::string_view::npos;
    if (positional) return {std::nullopt, std::string(text)};
    return {std::string(key), std::string(trimmed(text.substr(colon + 1)))};
}

}  // namespace

DSLCall readCall(std::string_view segment) {
    const auto opening = segment.find('(');
    DSLCall call{std::string(trimmed(segment.substr(0, opening))), {}};
    if (opening == std::string_view::npos) return call;
    for (const auto item : splitList(insideParentheses(segment, opening))) call.params.push_back(readParam(item));
    return call;
}

}  // namespace varnolex
