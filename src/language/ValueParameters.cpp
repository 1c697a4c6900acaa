// Parameters of the tools that rewrite values.

#include <algorithm>
#include <array>
#include <numeric>

#include "language/NoteName.hpp"
#include "language/ParameterFunctions.hpp"
#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

constexpr std::array<ParameterWord, 5> curveTypes{
    {{"linear", 0}, {"log", 1}, {"exp", 2}, {"scurve", 3}, {"reverse", 4}}};
constexpr std::array<ParameterWord, 3> curveTargets{{{"velocity", 0}, {"cc", 1}, {"both", 2}}};
constexpr std::array<ParameterWord, 6> eventTypes{
    {{"note", 0}, {"cc", 1}, {"polyat", 2}, {"pressure", 3}, {"pitchwheel", 4}, {"program", 5}}};

void readRandomRange(NodeParameters& call, NodeParameters::Keys keys, std::string_view flag, std::string_view lowKey,
                     std::string_view highKey) {
    const auto text = call.named(keys);
    if (!text) return;
    call.set(flag, true);
    call.range(lowKey, highKey, readHyphenRange(*text));
}

void readOverride(NodeParameters& call, std::string_view flag, std::string_view valueKey,
                  std::optional<std::int64_t> value) {
    if (!value) return;
    call.set(flag, true);
    call.set(valueKey, std::clamp<std::int64_t>(*value, 0, 255));
}

std::optional<std::int64_t> numberOr(NodeParameters::Text text, std::optional<std::int64_t> fallback) {
    if (!text) return std::nullopt;
    const auto number = readInteger(*text);
    return number ? number : fallback;
}

std::optional<std::int64_t> noteOr(NodeParameters::Text text, std::int64_t fallback) {
    if (!text) return std::nullopt;
    return readNote(*text).value_or(fallback);
}

std::optional<std::int64_t> zeroBasedChannel(NodeParameters::Text text) {
    const auto channel = numberOr(text, std::nullopt);
    if (!channel) return std::nullopt;
    return std::clamp<std::int64_t>(*channel, 1, 16) - 1;
}

}  // namespace

void readVelocityParameters(NodeParameters& call) {
    const auto named = call.named({"scale"});
    const auto scale = named ? named : call.positional(0);
    if (!call.expression("scalePercent", scale, call.expressionRange())) call.integer("scalePercent", scale, 100);
    call.integer("shiftValue", call.named({"shift"}));
    call.byte("minValue", call.named({"min"}));
    call.byte("maxValue", call.named({"max"}));
}

void readCurveParameters(NodeParameters& call) {
    call.choice("curveType", call.positional(0), curveTypes);
    // The intensity is also understood behind the curve word, the form in which graphs are written out.
    const auto named = call.named({"intensity"});
    call.real("intensity", named ? named : call.positional(1));
    if (const auto target = call.named({"apply"})) call.choice("applyTo", lowerCased(*target), curveTargets);
}

void readRandomizerParameters(NodeParameters& call) {
    readRandomRange(call, {"note"}, "randomizeNote", "noteMin", "noteMax");
    readRandomRange(call, {"vel", "velocity"}, "randomizeVelocity", "velocityMin", "velocityMax");
    readRandomRange(call, {"cc"}, "randomizeCCValue", "ccValueMin", "ccValueMax");
    readRandomRange(call, {"pressure"}, "randomizePressure", "pressureMin", "pressureMax");
}

void readSetParameters(NodeParameters& call) {
    readOverride(call, "overrideNote", "noteValue", noteOr(call.named({"note"}), 60));
    readOverride(call, "overrideOnVelocity", "onVelocityValue", numberOr(call.named({"velocity", "vel"}), 100));
    readOverride(call, "overrideChannel", "channelValue", zeroBasedChannel(call.named({"channel", "ch"})));
    readOverride(call, "overrideProgram", "programValue", numberOr(call.named({"program"}), std::nullopt));
    readOverride(call, "overrideCCValue", "ccController", numberOr(call.named({"cc"}), std::nullopt));
    readOverride(call, "overrideCCValue", "ccValue", numberOr(call.named({"value"}), std::nullopt));
}

void readConvertParameters(NodeParameters& call) {
    call.choice("inputType", call.positional(0), eventTypes);
    call.choice("outputType", call.positional(1), eventTypes);
    call.byte("inputCC", call.named({"inputCC"}), 10);
    call.byte("outputCC", call.named({"outputCC"}), 10);
    call.toggle("duplicate", call.named({"duplicate"}));
}

void readPatchMapParameters(NodeParameters& call) {
    std::vector<std::int64_t> map(128);
    std::iota(map.begin(), map.end(), 0);
    const auto isProgram = [](std::int64_t number) { return number >= 0 && number <= 127; };
    bool anyEntry = false;
    for (const auto word : call.positionals()) {
        const auto entry = readArrow(word);
        if (!entry || !isProgram(entry->low) || !isProgram(entry->high)) continue;
        map[static_cast<std::size_t>(entry->low)] = entry->high;
        anyEntry = true;
    }
    if (anyEntry) call.set("mapTable", std::move(map));
}

}  // namespace varnolex
