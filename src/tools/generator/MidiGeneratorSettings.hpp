#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Runtime.hpp"

namespace varnolex {

/// One message of a sequence that is built by hand.
struct GeneratorStep {
    UUID id = Runtime::current().makeUUID();
    std::vector<std::uint8_t> bytes{0x90, 60, 100};
    /// In place of the common delay ahead of this step, when it is 1 or more.
    std::optional<std::int64_t> delayMsOverride;
    /// Which byte is drawn anew each time the step is played, from `randomizeMin` to `randomizeMax`.
    std::optional<std::int64_t> randomizeByteIndex;
    std::uint8_t randomizeMin = 0;
    std::uint8_t randomizeMax = 127;
    /// How long the note of a Note On lasts; without it the sequence ends the note itself.
    std::optional<std::int64_t> noteDurationMs;
};

/// What a passing message has to be to start and stop the generator. A word, so that it is read as one.
struct GeneratorTrigger {
    enum class Mode : std::uint8_t { manual, noteOn, controller };

    Mode mode = Mode::manual;
    std::uint8_t note = 60;
    std::uint8_t controller = 64;
    std::uint8_t threshold = 64;
};

/// What the generator reads while it plays: the settings without what is prepared from them.
struct GeneratorRules {
    GeneratorTrigger trigger;
    bool repeatsForEver;
    bool randomDelay;
    bool injectFromTop;
    bool panicOnStop;
    bool playsMIDIFile;
    std::int64_t passes;
    std::int64_t delayMs;
    std::int64_t randomDelayMin;
    std::int64_t randomDelayMax;
    std::int64_t humanizeMs;
};

struct MidiGeneratorSettings {
    static constexpr std::int64_t builder = 0;
    static constexpr std::int64_t midiFile = 1;
    static constexpr std::int64_t once = 0;
    static constexpr std::int64_t counted = 1;

    /// The steps, a Standard MIDI File, or (any other number) a file of System Exclusive messages.
    std::int64_t sourceMode = builder;
    std::vector<GeneratorStep> steps;
    std::string filePath;
    /// Once, `repeatCount` times, or (any other number) without end.
    std::int64_t repeatMode = once;
    std::int64_t repeatCount = 1;
    std::int64_t delayMs = 500;
    bool randomDelay = false;
    std::int64_t randomDelayMin = 100;
    std::int64_t randomDelayMax = 1000;
    std::int64_t humanizeMs = 0;
    /// By hand, by a Note On, or by a controller.
    std::int64_t triggerMode = 0;
    std::uint8_t triggerNote = 60;
    std::uint8_t triggerCC = 0;
    std::uint8_t triggerThreshold = 64;
    bool injectFromTop = false;
    bool panicOnStop = true;

    static MidiGeneratorSettings fresh() {
        MidiGeneratorSettings settings;
        settings.steps.emplace_back();
        settings.repeatCount = 4;
        settings.triggerCC = 64;
        settings.panicOnStop = false;
        return settings;
    }

    GeneratorRules realTime() const;
};

}  // namespace varnolex
