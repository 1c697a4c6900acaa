#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "engine/Parameter.hpp"

namespace varnolex {

/// What a controller can be mapped to, in the order in which a message is compared with them.
enum class RemoteSlot : std::uint8_t {
    record,
    play,
    overdub,
    stop,
    clear,
    undo,
    redo,
    swing,
    probability,
    feedback,
    transpose,
};

inline constexpr std::size_t remoteSlotCount = 11;
/// The slots from `record` on that are buttons; the others are continuous.
inline constexpr std::size_t remoteButtonCount = 7;

/// Which controllers command a looper. A slot with the number 0 is unmapped.
struct RemoteMapping {
    bool hasTrigger = false;
    std::uint8_t triggerCC = 64;
    bool triggerCCToggle = false;
    std::array<std::uint8_t, remoteSlotCount> numbers{};
    /// Of the buttons: false is a momentary controller, true one that latches.
    std::array<bool, remoteButtonCount> toggles{};
};

/// What the processing road reads of a looper's settings.
struct LooperSnapshot {
    /// In ticks; 0 is off.
    std::int32_t quantizeGrid = 0;
    std::int32_t swing = 50;
    std::int32_t probability = 100;
    std::int32_t transpose = 0;
    std::int32_t feedback = 100;
    std::int32_t speed = 1;
    std::int32_t launchQuantize = 0;
    std::int32_t recordLengthBars = 0;
    std::int32_t postRecordAction = 0;
    std::int32_t inputMonitor = 0;
    std::int32_t preCountBars = 0;
    bool reverse = false;
    bool forwardClock = true;
    bool metronome = false;
    RemoteMapping remote{};
    /// Bit n: whether the remote control knows controller n, or 64 + n; all that most controllers need to ask.
    std::uint64_t remoteNumbers = 0;
    std::uint64_t highRemoteNumbers = 0;

    /// The launch grid in ticks; 0 when actions aren't deferred.
    std::uint32_t launchGrid() const;
};

/// A looper's settings as documents keep them.
struct LooperSettings {
    /// In ticks: 24 a quarter note; 0 is off.
    std::int64_t quantizeGrid = 0;
    /// 0 to 100; 50 is straight.
    std::int64_t swing = 50;
    /// In per cent.
    std::int64_t probability = 100;
    /// In semitones.
    std::int64_t transpose = 0;
    /// In per cent: what an overdub leaves of the layers under it.
    std::int64_t feedback = 100;
    bool reverse = false;
    /// 0 half, 1 normal, 2 double.
    std::int64_t speed = 1;
    /// 0 off, 1 a beat, 2 a bar, 3 two bars, 4 four bars.
    std::int64_t launchQuantize = 0;
    /// 0 is free: the length is what was recorded.
    std::int64_t recordLengthBars = 0;
    /// 1 makes one controller the whole remote control.
    std::int64_t triggerMode = 0;
    std::uint8_t triggerCC = 64;
    /// Kept for documents that have it.
    std::uint8_t triggerNote = 60;
    std::uint8_t recordCC = 0;
    std::uint8_t playCC = 0;
    std::uint8_t overdubCC = 0;
    std::uint8_t stopCC = 0;
    std::uint8_t clearCC = 0;
    std::uint8_t undoCC = 0;
    std::uint8_t redoCC = 0;
    std::uint8_t swingCC = 0;
    std::uint8_t probabilityCC = 0;
    std::uint8_t feedbackCC = 0;
    std::uint8_t transposeCC = 0;
    /// 0 play, 1 overdub.
    std::int64_t postRecordAction = 0;
    /// When the input is heard: 0 always, 1 never, 2 while recording, 3 unless playing.
    std::int64_t inputMonitor = 0;
    std::int64_t preCountBars = 0;
    bool metronome = false;
    double metronomeVolume = 0.8;
    /// The audio output of the click; none is the system's default.
    std::optional<std::string> metronomeDeviceUID{};
    bool forwardClock = true;
    bool triggerCCToggle = false;
    bool recordCCToggle = false;
    bool playCCToggle = false;
    bool overdubCCToggle = false;
    bool stopCCToggle = false;
    bool clearCCToggle = false;
    bool undoCCToggle = false;
    bool redoCCToggle = false;

    LooperSnapshot realTime() const;
};

struct LooperLives {
    LiveValue transpose;
    LiveValue probability;
    LiveValue feedback;
    LiveValue swing;
};

std::span<const Parameter> looperParameters();

}  // namespace varnolex
