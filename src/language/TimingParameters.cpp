// Parameters of the tools that work on time.

#include <algorithm>
#include <array>

#include "language/ParameterFunctions.hpp"
#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

constexpr std::array<ParameterWord, 9> arpPatterns{{{"up", 0},
                                                    {"down", 1},
                                                    {"up-down", 2},
                                                    {"updown", 2},
                                                    {"down-up", 3},
                                                    {"downup", 3},
                                                    {"random", 4},
                                                    {"as-played", 5},
                                                    {"asplayed", 5}}};
constexpr std::array<ParameterWord, 6> stepTicks{
    {{"1/4", 24}, {"1/8", 12}, {"1/16", 6}, {"trip_1/8", 8}, {"trip", 8}, {"dot_1/8", 18}}};
constexpr std::array<ParameterWord, 6> waveforms{
    {{"sine", 0}, {"triangle", 1}, {"square", 2}, {"saw", 3}, {"revsaw", 4}, {"random", 5}}};
constexpr std::array<ParameterWord, 6> quantizeGrids{
    {{"1/4", 0}, {"1/8", 1}, {"1/16", 2}, {"1/32", 3}, {"trip_1/8", 4}, {"dot_1/8", 5}}};

}  // namespace

void readClockParameters(NodeParameters& call) {
    call.real("bpm", call.positional(0), 120.0);
    call.toggle("sendStart", call.named({"start"}));
    call.toggle("sendStop", call.named({"stop"}));
}

void readArpParameters(NodeParameters& call) {
    call.set("ticksPerStep", std::int64_t{12});
    for (const auto word : call.positionals()) {
        call.choice("pattern", word, arpPatterns);
        call.choice("ticksPerStep", word, stepTicks);
    }
    call.integer("gatePercent", call.named({"gate"}), 80);
    call.integer("octaveRange", call.named({"oct"}));
    call.toggle("latch", call.named({"latch"}));
}

void readLFOParameters(NodeParameters& call) {
    call.set("waveform", std::int64_t{0});
    for (const auto word : call.positionals()) {
        call.choice("waveform", lowerCased(word), waveforms);
        if (const auto controller = readController(word)) {
            call.set("targetCC", std::clamp<std::int64_t>(*controller, 0, 255));
        }
    }
    call.real("rateHz", call.named({"rate"}), 1.0);
    call.toggle("syncToMidiClock", call.named({"sync"}));
    if (const auto division = call.named({"div"})) call.integer("clockDivision", division, 4);
    const auto depth = call.named({"depth"});
    if (depth && !call.expression("depthMax", depth, call.expressionRange())) {
        call.range("depthMin", "depthMax", readHyphenRange(*depth));
    }
    call.toggle("triggeredMode", call.named({"triggered"}));
}

void readDelayParameters(NodeParameters& call) { call.integer("delayMs", call.positional(0), 100); }

void readHumanizeParameters(NodeParameters& call) {
    call.integer("velocitySpread", call.named({"vel", "velocity"}));
    call.integer("timingSpread", call.named({"time"}), 20);
}

void readQuantizeParameters(NodeParameters& call) {
    call.choice("gridIndex", call.positional(0), quantizeGrids);
    call.integer("strength", call.named({"strength"}), 100);
    call.integer("lookahead", call.named({"lookahead"}), 50);
}

void readRoundRobinParameters(NodeParameters& call) {
    call.integer("poolSize", call.positional(0), 4);
    const auto channel = call.named({"ch"});
    if (const auto number = channel ? readInteger(*channel) : std::nullopt) {
        call.set("startChannel", std::max<std::int64_t>(*number, 1) - 1);
    }
}

void readDuplicateParameters(NodeParameters& call) {
    call.integer("transposeSteps", call.named({"transpose"}));
    call.integer("velocityScale", call.named({"vel", "velocity"}), 100);
    call.integer("delayMs", call.named({"delay"}));
    call.integer("outputChannel", call.named({"ch"}));
}

}  // namespace varnolex
