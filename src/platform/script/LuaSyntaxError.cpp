#include "platform/script/LuaSyntaxError.hpp"

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

}  // namespace

std::optional<std::size_t> columnOfLuaSyntaxError(std::string_view source, std::string_view message) {
    constexpr std::string_view beforeToken = " near ";
    const std::size_t colon = message.find(':');
    const std::size_t near = message.find(beforeToken);
    if (colon == none || near == none) return std::nullopt;
    std::size_t number = 0;
    std::from_chars(message.data() + colon + 1, message.data() + message.size(), number);
    const std::string_view line = lineOf(source, number);
    std::string_view token = message.substr(near + beforeToken.size());
    std::size_t place = line.size();
    if (token != "<eof>") {
        if (token.size() < 3 || token.front() != '\'' || token.back() != '\'') return std::nullopt;
        place = onlyPlace(line, token.substr(1, token.size() - 2));
        if (place == none) return std::nullopt;
    }
    const auto isCharacter = [](char byte) { return (byte & 0xC0) != 0x80; };
    return static_cast<std::size_t>(std::ranges::count_if(line.substr(0, place), isCharacter)) + 1;
}

}  // namespace varnolex
