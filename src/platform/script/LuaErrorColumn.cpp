#include "platform/script/LuaErrorColumn.hpp"

#include <algorithm>
#include <charconv>

namespace varnolex {
namespace {

constexpr auto none = std::string_view::npos;

/// As Lua counts lines: a carriage return is an end too, and both together are one.
std::string_view lineOf(std::string_view source, std::size_t number) {
    constexpr std::string_view ends = "\r\n";
    for (; number > 1; --number) {
        const std::size_t end = source.find_first_of(ends);
        if (end == none) return {};
        const std::string_view both = source.substr(end, 2);
        source.remove_prefix(end + (both == "\r\n" || both == "\n\r" ? 2 : 1));
    }
    return source.substr(0, source.find_first_of(ends));
}

bool isOfName(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '_';
}

/// Whether `token` at this place of the line goes on into a longer name.
bool isPartOfName(std::string_view line, std::size_t place, std::string_view token) {
    const std::size_t end = place + token.size();
    return (isOfName(token.front()) && place > 0 && isOfName(line[place - 1])) ||
           (isOfName(token.back()) && end < line.size() && isOfName(line[end]));
}

/// Where the line has the token; nowhere when it has it more than once.
std::size_t onlyPlace(std::string_view line, std::string_view token) {
    std::size_t found = none;
    for (std::size_t place = line.find(token); place != none; place = line.find(token, place + 1)) {
        if (isPartOfName(line, place, token)) continue;
        if (found != none) return none;
        found = place;
    }
    return found;
}

/// The first text of the reason that stands between quotation marks, if it is a name.
std::string_view blamedName(std::string_view reason) {
    const std::size_t begin = reason.find('\'');
    if (begin == none) return {};
    reason.remove_prefix(begin + 1);
    const std::string_view quoted = reason.substr(0, reason.find('\''));
    return std::ranges::all_of(quoted, isOfName) ? quoted : std::string_view();
}

/// A token comes between quotation marks, but for the end of the text.
std::size_t placeOfToken(std::string_view line, std::string_view token) {
    if (token == "<eof>") return line.size();
    if (token.size() < 3 || token.front() != '\'' || token.back() != '\'') return none;
    return onlyPlace(line, token.substr(1, token.size() - 2));
}

std::size_t placeOfFault(std::string_view line, std::string_view reason) {
    for (const std::string_view name : {blamedName(reason), std::string_view("error")})
        if (const std::size_t place = name.empty() ? none : onlyPlace(line, name); place != none) return place;
    return line.find_first_not_of(" \t");
}

}  // namespace

std::optional<std::size_t> columnOfLuaError(std::string_view source, std::string_view message) {
    constexpr std::string_view where = "script:", beforeToken = " near ";
    if (!message.starts_with(where)) return std::nullopt;
    message.remove_prefix(where.size());
    std::size_t number = 0;
    const auto [rest, error] = std::from_chars(message.data(), message.data() + message.size(), number);
    message.remove_prefix(static_cast<std::size_t>(rest - message.data()));
    if (error != std::errc() || !message.starts_with(':')) return std::nullopt;
    const std::string_view line = lineOf(source, number);
    const std::size_t near = message.rfind(beforeToken);
    const std::size_t place =
        near != none ? placeOfToken(line, message.substr(near + beforeToken.size())) : placeOfFault(line, message);
    if (place == none) return std::nullopt;
    const auto isCharacter = [](char byte) { return (byte & 0xC0) != 0x80; };
    return static_cast<std::size_t>(std::ranges::count_if(line.substr(0, place), isCharacter)) + 1;
}

}  // namespace varnolex
