#include "cli/RecordDescription.hpp"

#include <array>
#include <cstdio>
#include <span>

#include "core/text/TextPieces.hpp"
#include "engine/Catalogue.hpp"

namespace varnolex {
namespace {

using Record = DiagnosticImage::Record;
using Kind = DiagnosticKind;

constexpr std::array<std::string_view, 20> kindNames{
    "",
    "application start",
    "tool",
    "rebuild start",
    "received",
    "sent",
    "",
    "input event",
    "flood entered",
    "flood left",
    "",
    "",
    "rebuild end",
    "output status",
    "output event",
    "port creation failure",
    "muted drop",
    "endpoints changed",
    "",
    "parameter sequence",
};

constexpr std::array<std::string_view, 8> rebuildReasons{
    "graph started", "node added",     "node removed",   "cable added",
    "cable removed", "nodes switched", "graph switched", "restored or changed in bulk",
};

constexpr std::array<std::string_view, 5> inputEvents{
    "", "connected", "disconnected", "dropping: switched off", "dropping: no chain",
};

constexpr std::array<std::string_view, 7> outputEvents{
    "disconnected",
    "connected to a destination",
    "connected to a virtual output",
    "batch in several lists",
    "dropping: no destination",
    "dropping: offline",
    "dropping: no source of its own",
};

constexpr std::array<std::string_view, 5> outputCalls{"", "create port", "create source", "send", "received"};

constexpr std::array<std::string_view, 4> endpointChanges{"setup changed", "added", "removed", "property changed"};

/// The name that a number stands for, or the number.
std::string named(std::span<const std::string_view> names, std::size_t number) {
    if (number < names.size() && !names[number].empty()) return std::string(names[number]);
    return std::to_string(number);
}

std::string hexMark(unsigned mark) {
    char text[8];
    std::snprintf(text, sizeof text, "%04X", mark & 0xFFFFu);
    return text;
}

std::string toolName(std::uint8_t index) {
    const auto kinds = allToolKinds();
    return index < kinds.size() ? std::string(kinds[index].rawValue) : "kind " + std::to_string(index);
}

/// What a payload says, in words.
class Description {
public:
    explicit Description(const Record& described) : record(described), bytes(described.payload) {}

    std::string text() const {
        switch (record.kind) {
            case Kind::applicationStart:
                return std::to_string(secondsOfStart(record)) + " s after the log began";
            case Kind::tool:
                return graph() + ", node " + number(1) + ": " + toolName(bytes[2]) + (bytes[3] != 0 ? "" : ", off");
            case Kind::rebuildStart:
                return graph() + ": " + named(rebuildReasons, bytes[1]) + ", " + number(2) + " nodes";
            case Kind::rebuildEnd:
                return graph() + ": " + number(1) + " nodes, " + number(2) + " cables";
            case Kind::received:
            case Kind::sent:
                return graph() + ": " + message();
            case Kind::inputEvent:
                return graph() + ": " + named(inputEvents, bytes[4]) + (bytes[3] != 0 ? ", virtual" : "") +
                       ", unique ID ends in " + hexMark(low(1));
            case Kind::outputEvent:
                return graph() + ": " + named(outputEvents, bytes[1]) + ", " + std::to_string(low(2));
            case Kind::outputStatus:
                return graph() + ": " + named(outputCalls, bytes[1]) + ", status " + status(low(2));
            case Kind::floodEntered:
            case Kind::floodLeft:
                return "endpoint " + hexMark(low(1)) + ", " + number(0) + " flooding";
            case Kind::mutedDrop:
                return "endpoint " + hexMark(low(0)) + ", " + std::to_string(low(2)) + " messages";
            case Kind::portCreationFailure:
                return std::string(bytes[2] == 0 ? "input" : "output") + ", status " +
                       std::to_string(static_cast<std::int32_t>(low(0) | low(3) << 16));
            case Kind::endpointsChanged:
                return named(endpointChanges, bytes[0]) + ", " + number(1) + " sources, " + number(2) + " destinations";
            case Kind::parameterSequence:
                return "channel " + std::to_string(bytes[0] + 1) + (bytes[1] == 0 ? ": timed out" : ": flushed");
        }
        std::string raw;
        appendHexBytes(raw, bytes);
        return raw;
    }

private:
    std::string number(std::size_t index) const { return std::to_string(bytes[index]); }
    std::string graph() const { return "graph " + number(0); }
    std::uint32_t low(std::size_t index) const {
        return bytes[index] | static_cast<std::uint32_t>(bytes[index + 1]) << 8;
    }
    static std::string status(std::uint32_t value) { return std::to_string(static_cast<std::int16_t>(value)); }

    std::string message() const {
        const std::uint8_t first = bytes[1];
        const bool isLong = (bytes[4] & 2) != 0;
        const std::size_t length = first >= 0xF4 ? 1 : first == 0xF1 || first == 0xF3 || (first & 0xE0) == 0xC0 ? 2 : 3;
        std::string text;
        appendHexBytes(text, std::span(bytes).subspan(1, isLong ? 3 : length));
        if (isLong) text += " ...";
        if ((bytes[4] & 4) != 0) text += ", note end";
        if ((bytes[4] & 1) != 0) text += ", ends its batch";
        return text;
    }

    const Record& record;
    const DiagnosticPayload& bytes;
};

}  // namespace

std::string nameOfRecord(DiagnosticKind kind) { return named(kindNames, static_cast<std::size_t>(kind)); }

std::string descriptionOfRecord(const DiagnosticImage::Record& record) { return Description(record).text(); }

std::uint32_t secondsOfStart(const DiagnosticImage::Record& start) {
    const auto& held = start.payload;
    return static_cast<std::uint32_t>(held[0]) << 24 | static_cast<std::uint32_t>(held[1]) << 16 |
           static_cast<std::uint32_t>(held[3]) << 8 | held[2];
}

}  // namespace varnolex
