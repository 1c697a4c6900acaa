// Parameters of the tools that work on notes, and of harmony.

#include <array>

#include "language/NoteName.hpp"
#include "language/ParameterFunctions.hpp"
#include "language/TextSplitting.hpp"
#include "tools/harmony/ChordPreset.hpp"

namespace varnolex {

namespace {

constexpr std::array<ParameterWord, 3> notePriorities{{{"last", 0}, {"lowest", 1}, {"highest", 2}}};
constexpr std::array<ParameterWord, 2> strumDirections{{{"up", 0}, {"down", 1}}};

constexpr std::array<ParameterWord, 10> scaleTypes{{{"major", 0},
                                                    {"minor", 1},
                                                    {"harmonic_minor", 2},
                                                    {"pent_major", 3},
                                                    {"pent_minor", 4},
                                                    {"blues", 5},
                                                    {"chromatic", 6},
                                                    {"whole_tone", 7},
                                                    {"diminished", 8},
                                                    {"custom", 9}}};

std::optional<std::int64_t> chordPreset(std::string_view name) {
    return lowerCased(name) == "custom" ? customChordPreset : chordPresetNamed(name);
}

std::vector<std::int64_t> readIntervals(std::string_view list) {
    std::vector<std::int64_t> intervals;
    for (const auto item : splitList(withoutBrackets(list))) {
        if (const auto interval = readInteger(item)) intervals.push_back(*interval);
    }
    return intervals;
}

}  // namespace

void readTransposeParameters(NodeParameters& call) {
    const auto named = call.named({"semitones"});
    const auto steps = named ? named : call.positional(0);
    if (!call.expression("semitones", steps, call.expressionRange())) call.integer("semitones", steps, 0);
    call.byte("fromChannel", call.named({"ch", "fromChannel"}));
}

void readSplitParameters(NodeParameters& call) {
    const auto key = call.positional(0);
    call.set("splitKey", key ? readNote(*key).value_or(60) : 60);
}

void readMonoParameters(NodeParameters& call) {
    const auto priority = call.positional(0);
    if (priority) call.choice("mode", lowerCased(*priority), notePriorities);
}

void readDurationParameters(NodeParameters& call) { call.integer("durationMs", call.positional(0)); }

void readLatchParameters(NodeParameters& call) { call.toggle("exclusiveMode", call.named({"exclusive"})); }

void readStrumParameters(NodeParameters& call) {
    call.integer("spreadMs", std::nullopt, 50);
    for (const auto word : call.positionals()) {
        call.choice("direction", word, strumDirections);
        call.integer("spreadMs", word);
    }
}

void readScaleParameters(NodeParameters& call) {
    const auto root = call.positional(0);
    const auto type = call.positional(1);
    if (const auto key = root ? readPitchClass(*root) : std::nullopt) call.set("rootKey", *key);
    if (type) call.choice("scaleType", lowerCased(*type), scaleTypes);
    if (call.positional(2) == "down") call.set("direction", std::int64_t{1});
}

void readChordParameters(NodeParameters& call) {
    // A preset name only counts at the very front: the tail of an unbracketed `custom:` list is positional too.
    const bool namesPreset = !call.all().empty() && !call.all().front().key;
    const auto preset = namesPreset ? chordPreset(call.all().front().value) : std::nullopt;
    if (preset) call.set("preset", *preset);
    if (const auto intervals = call.named({"custom"})) {
        call.set("customIntervals", readIntervals(*intervals));
        call.set("preset", customChordPreset);
    }
    call.toggle("suppressRoot", call.named({"noRoot"}));
}

}  // namespace varnolex
