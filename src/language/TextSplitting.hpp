#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace varnolex {

// The language has no tokens: a text is cut up by splitting that knows brackets. All views point into the text given,
// every piece is trimmed, and a closing bracket too many never takes a depth below zero, so one slip doesn't swallow
// the rest.

/// The text without blanks and tabs at its ends.
std::string_view trimmed(std::string_view text);

/// ASCII letters in lower case, all other bytes as they are.
std::string lowerCased(std::string_view text);

/// The text as the compiler reads it: escaped line ends, carriage returns and a byte order mark resolved.
std::string normalised(std::string_view source);

/// The non-empty statements of a program: its lines, where a `{ }` block counts as part of its line.
std::vector<std::string_view> splitStatements(std::string_view program);

/// The segments of a chain, parted by ` -> ` outside parentheses and brackets. May hold empty segments.
std::vector<std::string_view> splitChain(std::string_view chain);

/// The items of a list, parted by commas outside all brackets. May hold empty items; a blank text has none.
std::vector<std::string_view> splitList(std::string_view list);

/// The text inside `[ ]`, or the text itself when it isn't bracketed.
std::string_view withoutBrackets(std::string_view text);

/// The text inside the parentheses whose opening one stands at `opening`. Reaches to the end if they are never closed.
std::string_view insideParentheses(std::string_view text, std::size_t opening);

}  // namespace varnolex
