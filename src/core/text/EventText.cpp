#include "core/text/EventText.hpp"

#include <array>
#include <limits>

#include "core/text/TextPieces.hpp"

namespace varnolex {

namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::size_t mostDecimals = 9;
constexpr std::array<std::uint64_t, mostDecimals + 1> powersOfTen{
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

/// Times stay within a signed 64-bit count of nanoseconds, so that sums with a host time can't overflow.
constexpr std::uint64_t mostSeconds =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) / nanosecondsPerSecond - 1;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

constexpr std::uint8_t notHex = 0xFF;

constexpr std::array<std::uint8_t, 256> hexValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(notHex);
    for (std::uint8_t digit = 0; digit < 10; ++digit) values['0' + digit] = digit;
    for (std::uint8_t letter = 0; letter < 6; ++letter) {
        values['a' + letter] = static_cast<std::uint8_t>(10 + letter);
        values['A' + letter] = static_cast<std::uint8_t>(10 + letter);
    }
    return values;
}();

bool isDigit(char character) { return character >= '0' && character <= '9'; }

std::string placed(std::string_view file, std::size_t line, std::string_view expectation) {
    std::string text(file);
    text += ':';
    appendInteger(text, static_cast<std::int64_t>(line));
    text += ": ";
    text += expectation;
    return text;
}

/// The part of `line` before its first tab. What is behind the tab stays in `line`, and nothing without a tab.
std::string_view takeField(std::string_view& line, bool& hasTab) {
    const std::size_t tab = line.find('\t');
    const std::string_view field = line.substr(0, tab);
    hasTab = tab != std::string_view::npos;
    line = hasTab ? line.substr(tab + 1) : std::string_view();
    return field;
}

}  // namespace

EventTextError::EventTextError(std::string_view file, std::size_t lineNumber, std::string_view expectation)
    : std::runtime_error(placed(file, lineNumber, expectation)), number(lineNumber) {}

EventTextReader::EventTextReader(std::string_view text, std::string file) : rest(text), fileName(std::move(file)) {
    if (rest.starts_with(byteOrderMark)) rest.remove_prefix(byteOrderMark.size());
}

bool EventTextReader::next(EventLine& event) {
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        const std::string_view following = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        rest = {};
        ++lineNumber;
        if (line.ends_with('\r')) line.remove_suffix(1);
        const bool silent = line.empty() || line.front() == '#';
        if (!silent) read(line, event);
        rest = following;
        if (!silent) return true;
    }
    return false;
}

void EventTextReader::read(std::string_view line, EventLine& event) {
    bool hasTab = false;
    event.time = readTime(takeField(line, hasTab));
    if (!hasTab) refuse("expected a tab and the message's bytes behind the time");
    if (event.time < latestTime) {
        std::string expectation = "expected a time of at least ";
        appendSeconds(expectation, latestTime);
        refuse(expectation + " (times must not run backwards)");
    }
    latestTime = event.time;
    readBytes(takeField(line, hasTab));
    event.bytes = packet;
    event.endpoint.reset();
    if (!line.empty()) {
        event.endpoint = takeField(line, hasTab);
        if (hasTab) refuse("expected the end of the line behind the endpoint's name, found a tab");
    }
    event.line = lineNumber;
}

std::uint64_t EventTextReader::readTime(std::string_view field) const {
    std::size_t index = 0;
    std::uint64_t seconds = 0;
    for (; index < field.size() && isDigit(field[index]); ++index) {
        seconds = seconds * 10 + static_cast<std::uint64_t>(field[index] - '0');
        if (seconds > mostSeconds) refuse("expected a time below 9223372035 seconds");
    }
    if (index == 0) refuse("expected a time in decimal seconds, such as 1.25");
    std::uint64_t fraction = 0;
    if (index < field.size() && field[index] == '.') {
        const std::size_t point = index++;
        for (; index < field.size() && isDigit(field[index]); ++index)
            fraction = fraction * 10 + static_cast<std::uint64_t>(field[index] - '0');
        const std::size_t decimals = index - point - 1;
        if (decimals == 0) refuse("expected a digit behind the decimal point");
        if (decimals > mostDecimals) refuse("expected at most nine decimals in the time");
        fraction *= powersOfTen[mostDecimals - decimals];
    }
    if (index != field.size()) refuse("expected a time in decimal seconds, such as 1.25");
    return seconds * nanosecondsPerSecond + fraction;
}

void EventTextReader::readBytes(std::string_view field) {
    if (field.size() % 3 != 2) refuse("expected two-digit hexadecimal bytes with one blank between them");
    packet.resize(field.size() / 3 + 1);
    for (std::size_t index = 0; index < packet.size(); ++index) {
        const std::size_t place = index * 3;
        const std::uint8_t high = hexValues[static_cast<std::uint8_t>(field[place])];
        const std::uint8_t low = hexValues[static_cast<std::uint8_t>(field[place + 1])];
        const bool parted = place + 2 >= field.size() || field[place + 2] == ' ';
        if (high == notHex || low == notHex || !parted)
            refuse("expected two-digit hexadecimal bytes with one blank between them");
        packet[index] = static_cast<std::uint8_t>(high << 4 | low);
    }
}

void EventTextReader::refuse(std::string_view expectation) const {
    throw EventTextError(fileName, lineNumber, expectation);
}

void appendEventText(std::string& out, std::uint64_t nanoseconds, std::span<const std::uint8_t> bytes,
                     std::string_view endpoint) {
    constexpr std::size_t tabsAndLineEnd = 3;
    const std::size_t room = longestSeconds + 3 * bytes.size() + endpoint.size() + tabsAndLineEnd;
    appendUpTo(out, room, [&](char* place) {
        place = putSeconds(place, nanoseconds);
        *place++ = '\t';
        place = putHexBytes(place, bytes);
        *place++ = '\t';
        place = putField(place, endpoint);
        *place++ = '\n';
        return place;
    });
}

void appendEventJSON(std::string& out, std::uint64_t nanoseconds, std::span<const std::uint8_t> bytes,
                     std::string_view endpoint) {
    out += "{\"time\":";
    appendJSONSeconds(out, nanoseconds);
    out += ",\"bytes\":";
    appendJSONBytes(out, bytes);
    out += ",\"endpoint\":";
    appendJSONString(out, endpoint);
    out += "}\n";
}

}  // namespace varnolex
