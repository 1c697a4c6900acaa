#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/ParameterAccess.hpp"
#include "engine/ToolChain.hpp"
#include "engine/ValueProducer.hpp"

namespace varnolex::testing {

/// Where an exercise takes its choices from: a generator, or the bytes of a fuzzer.
class Draws {
public:
    explicit Draws(std::function<std::uint64_t()> bitSource) : source(std::move(bitSource)) {}

    /// 0 to `count` - 1.
    std::size_t below(std::size_t count) { return static_cast<std::size_t>(source() % count); }
    bool oneIn(std::size_t count) { return below(count) == 0; }
    std::uint8_t byte(std::size_t count = 256) { return static_cast<std::uint8_t>(below(count)); }

    /// Mostly of the size that settings have, now and then the end of the range or anything.
    std::int64_t integer(std::int64_t low, std::int64_t high) {
        switch (below(8)) {
            case 0:
                return std::clamp(static_cast<std::int64_t>(source()), low, high);
            case 1:
                return oneIn(2) ? low : high;
            case 2:
                return std::clamp<std::int64_t>(-static_cast<std::int64_t>(below(200)), low, high);
            case 3:
                return std::clamp<std::int64_t>(static_cast<std::int64_t>(below(2000)), low, high);
            default:
                return std::clamp<std::int64_t>(static_cast<std::int64_t>(below(128)), low, high);
        }
    }

    double real() {
        constexpr double infinity = std::numeric_limits<double>::infinity();
        switch (below(12)) {
            case 0:
                return oneIn(2) ? infinity : -infinity;
            case 1:
                return std::numeric_limits<double>::quiet_NaN();
            case 2:
                return oneIn(2) ? std::numeric_limits<double>::max() : std::numeric_limits<double>::lowest();
            case 3:
                return -static_cast<double>(below(4000)) / 16;
            default:
                return static_cast<double>(below(4000)) / 16;
        }
    }

private:
    std::function<std::uint64_t()> source;
};

/// A value of the parameter's shape, in its limits or, for an unlimited shape, any at all.
inline ParameterValue drawValue(const Parameter& row, Draws& draws) {
    const IntegerLimits limits = limitsOf(row.shape);
    if (row.isOptional && row.shape == ParameterShape::integer && draws.oneIn(3)) return std::monostate{};
    switch (row.shape) {
        case ParameterShape::toggle:
            return draws.oneIn(2);
        case ParameterShape::real:
            return draws.real();
        case ParameterShape::choice:
            if (draws.oneIn(8)) return std::string("none of them");
            return std::string(row.choices[draws.below(row.choices.size())]);
        case ParameterShape::text:
            return std::string(draws.below(12), static_cast<char>('a' + draws.below(26)));
        case ParameterShape::list: {
            std::vector<std::int64_t> entries(draws.below(140));
            for (std::int64_t& entry : entries) entry = draws.integer(0, 15);
            return entries;
        }
        case ParameterShape::records: {
            std::vector<ParameterRecord> entries(draws.below(6));
            for (ParameterRecord& entry : entries)
                for (const Parameter& field : row.fields) entry.values.push_back(drawValue(field, draws));
            return entries;
        }
        case ParameterShape::uniqueID:
        case ParameterShape::virtualPortID:
            if (draws.oneIn(3)) return std::monostate{};
            break;
        default:
            break;
    }
    return draws.integer(limits.low, limits.high);
}

/// Gives about every second parameter another value.
inline void drawSettings(PipeTool& tool, Draws& draws) {
    for (const Parameter& row : tool.definition().parameters) {
        if (row.key.empty() || draws.oneIn(2)) continue;
        try {
            setParameter(tool, row.key, drawValue(row, draws));
        } catch (const ParameterError&) {
            // A list knows limits of its own; what it refuses leaves everything as it was.
        }
    }
}

/// Sends numbers to the tool's ports and live keys, and takes some away again.
inline void drawLiveValues(PipeTool& tool, Draws& draws) {
    const auto ride = [&](std::string_view key) {
        if (ValueReceiver* receiver = tool.valueReceiver()) return receiver->receive(draws.real(), key);
        tool.setLiveValue(draws.oneIn(4) ? std::optional<double>() : draws.real(), key);
    };
    for (const ValuePort& port : tool.valuePorts())
        if (draws.oneIn(3)) ride(port.id);
    for (const Parameter& row : tool.definition().parameters)
        if (row.live && draws.oneIn(6)) ride(row.liveKey());
}

/// How many bytes a message with this status has; 0 for System Exclusive, which ends by itself.
inline std::size_t lengthOf(std::uint8_t status) {
    if (status < 0xF0) return status >= 0xC0 && status < 0xE0 ? 2 : 3;
    if (status == 0xF0) return 0;
    if (status == 0xF2) return 3;
    return status == 0xF1 || status == 0xF3 ? 2 : 1;
}

/// A whole message that may stand in a stream, notes and controllers of few numbers above all, so that they meet.
inline std::vector<std::uint8_t> drawMessage(Draws& draws) {
    static constexpr std::uint8_t common[]{0x90, 0x90, 0x80, 0x90, 0xB0, 0xF8, 0xF8, 0xA0, 0xC0, 0xD0, 0xE0};
    static constexpr std::uint8_t rare[]{0xF0, 0xF1, 0xF2, 0xF3, 0xF6, 0xFA, 0xFB, 0xFC, 0xFE, 0xFF};
    std::uint8_t status = draws.oneIn(10) ? rare[draws.below(std::size(rare))] : common[draws.below(std::size(common))];
    if (status < 0xF0) status = static_cast<std::uint8_t>(status | (draws.oneIn(2) ? 0 : draws.byte(16)));
    std::vector<std::uint8_t> bytes{status};
    const std::size_t length = status == 0xF0 ? 2 + draws.below(30) : lengthOf(status);
    while (bytes.size() < length)
        bytes.push_back(draws.oneIn(2) ? draws.byte(128) : static_cast<std::uint8_t>(60 + draws.below(4)));
    if (bytes.size() == 3 && draws.oneIn(6)) bytes[2] = 0;
    if (status == 0xB0 && draws.oneIn(4)) bytes[1] = static_cast<std::uint8_t>(96 + draws.below(32));
    if (status == 0xF0) bytes.push_back(0xF7);
    return bytes;
}

/// Any bytes, but at least one.
inline std::vector<std::uint8_t> drawJunk(Draws& draws) {
    std::vector<std::uint8_t> bytes = drawMessage(draws);
    bytes.resize(1 + draws.below(8), 0xFF);
    for (std::uint8_t& byte : bytes)
        if (draws.oneIn(4)) byte = draws.byte();
    return bytes;
}

/// Whether the bytes are one message that may leave the system, or the six-byte form in which assembled parameter
/// numbers travel between tools.
inline bool isWholeMessage(std::span<const std::uint8_t> bytes) {
    if (bytes.empty() || bytes[0] < 0x80) return false;
    const bool isExclusive = bytes[0] == 0xF0;
    const bool isAssembled = (bytes[0] == 0xF4 || bytes[0] == 0xF5) && bytes.size() == 6;
    if (!isExclusive && !isAssembled && bytes.size() != lengthOf(bytes[0])) return false;
    if (isExclusive && bytes.back() == 0xF7) bytes = bytes.first(bytes.size() - 1);
    return std::ranges::all_of(bytes.subspan(1), [](std::uint8_t byte) { return byte < 0x80; });
}

/// Whether a kind's messages are put down byte by byte in its settings: random ones make anything.
inline bool spellsOutMessages(PipeToolType type) { return type == PipeToolType::toggle; }

/// Whether the end of the batch that a message closes may wait: for the message that carries it, or, in a looper that
/// keeps the clock to itself, for something else to leave. Nothing of the batch has left in a looper's case.
inline bool mayDelayBatchEnd(PipeToolType type, std::span<const std::uint8_t> message, bool hasAnythingLeft) {
    if (type == PipeToolType::looper) return !hasAnythingLeft && !message.empty() && message[0] == 0xF8;
    return type == PipeToolType::delay || type == PipeToolType::humanize;
}

}  // namespace varnolex::testing
