#include "endpoints/alsa/AlsaPorts.hpp"

#include <algorithm>

namespace varnolex {

namespace {

constexpr std::string_view separators = " _-:";

bool isDigit(char character) { return character >= '0' && character <= '9'; }

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// The port's name without the client's name in front of it, however often.
std::string_view ownPart(std::string_view portName, std::string_view clientName) {
    std::string_view rest = portName;
    while (!clientName.empty() && rest.starts_with(clientName)) {
        const std::string_view behind = rest.substr(clientName.size());
        const auto next = behind.find_first_not_of(separators);
        if (next == 0) break;
        rest = next == std::string_view::npos ? std::string_view() : behind.substr(next);
    }
    return rest;
}

std::string displayName(const AlsaPortInfo& port) {
    const std::string_view client = trimmed(port.clientName);
    const std::string_view own = ownPart(trimmed(port.portName), client);
    if (client.empty() || own.empty()) return std::string(client.empty() ? own : client);
    return std::string(client) + " " + std::string(own);
}

/// With every whole number that is `number` replaced.
std::string without(const std::string& name, int number) {
    if (number < 0) return name;
    const std::string wanted = std::to_string(number);
    std::string kept;
    for (std::size_t start = 0; start < name.size();) {
        const bool isNumber = isDigit(name[start]);
        std::size_t end = start + 1;
        while (end < name.size() && isDigit(name[end]) == isNumber) ++end;
        const auto part = name.substr(start, end - start);
        kept += part == wanted ? "#" : part;
        start = end;
    }
    return kept;
}

std::string stableClientName(const AlsaPortInfo& port) {
    // What the system calls a program that doesn't say.
    if (port.clientName == "Client-" + std::to_string(port.address.client)) return "Client-#";
    return without(port.clientName, port.processID);
}

}  // namespace

MIDIEndpointDescription describe(const AlsaPortInfo& port) {
    return {.displayName = displayName(port),
            .model = port.cardName,
            .driverOwner = port.cardDriver.empty() ? port.clientName : port.cardDriver};
}

std::string identityOf(const AlsaPortInfo& port, bool isSource) {
    return (isSource ? "from " : "to ") + stableClientName(port) + ":" + without(port.portName, port.processID);
}

}  // namespace varnolex
