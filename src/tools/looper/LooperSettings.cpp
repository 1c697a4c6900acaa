#include "tools/looper/LooperSettings.hpp"

#include <algorithm>

#include "tools/looper/LoopTime.hpp"

namespace varnolex {
namespace {

using namespace parameters;

std::int64_t controllerIn(const ParameterValue& value, const Parameter& row) {
    return std::clamp<std::int64_t>(integerIn(value, row), 0, 255);
}

/// An integer in records that is limited to what a byte holds.
template <auto Member>
constexpr Parameter controller(std::string_view key) {
    return row<Member, controllerIn, std::int64_t>(key, ParameterShape::integer);
}

constexpr Parameter deviceUID(std::string_view key) {
    Parameter made;
    made.key = key;
    made.shape = ParameterShape::text;
    made.isOptional = true;
    made.read = [](const void* settings) -> ParameterValue {
        const auto& held = static_cast<const LooperSettings*>(settings)->metronomeDeviceUID;
        if (!held) return std::monostate{};
        return *held;
    };
    made.write = [](void* settings, const ParameterValue& value, const Parameter& self) {
        auto& held = static_cast<LooperSettings*>(settings)->metronomeDeviceUID;
        if (std::holds_alternative<std::monostate>(value))
            held.reset();
        else
            held = textIn(value, self);
    };
    return made;
}

using S = LooperSettings;
using L = LooperLives;

constexpr std::array table{
    integer<&S::quantizeGrid>("quantizeGrid"),
    integer<&S::swing>("swing").port("Swing", 0, 100, 3).rides<&L::swing>(),
    integer<&S::probability>("probability").port("Probability", 0, 100, 1).rides<&L::probability>(),
    integer<&S::transpose>("transpose").port("Transpose", -24, 24, 0).rides<&L::transpose>(),
    integer<&S::feedback>("feedback").port("Feedback", 0, 100, 2).rides<&L::feedback>(),
    toggle<&S::reverse>("reverse"),
    integer<&S::speed>("speed"),
    integer<&S::launchQuantize>("launchQuantize"),
    integer<&S::recordLengthBars>("recordLengthBars"),
    integer<&S::triggerMode>("triggerMode"),
    controller<&S::triggerCC>("triggerCC"),
    controller<&S::triggerNote>("triggerNote"),
    controller<&S::recordCC>("recordCC"),
    controller<&S::playCC>("playCC"),
    controller<&S::overdubCC>("overdubCC"),
    controller<&S::stopCC>("stopCC"),
    controller<&S::clearCC>("clearCC"),
    controller<&S::undoCC>("undoCC"),
    controller<&S::redoCC>("redoCC"),
    controller<&S::swingCC>("swingCC"),
    controller<&S::probabilityCC>("probabilityCC"),
    controller<&S::feedbackCC>("feedbackCC"),
    controller<&S::transposeCC>("transposeCC"),
    integer<&S::postRecordAction>("postRecordAction"),
    integer<&S::inputMonitor>("inputMonitor"),
    integer<&S::preCountBars>("preCountBars"),
    toggle<&S::metronome>("metronome"),
    real<&S::metronomeVolume>("metronomeVolume"),
    deviceUID("metronomeDeviceUID"),
    toggle<&S::forwardClock>("forwardClock"),
    toggle<&S::triggerCCToggle>("triggerCCToggle"),
    toggle<&S::recordCCToggle>("recordCCToggle"),
    toggle<&S::playCCToggle>("playCCToggle"),
    toggle<&S::overdubCCToggle>("overdubCCToggle"),
    toggle<&S::stopCCToggle>("stopCCToggle"),
    toggle<&S::clearCCToggle>("clearCCToggle"),
    toggle<&S::undoCCToggle>("undoCCToggle"),
    toggle<&S::redoCCToggle>("redoCCToggle"),
};

/// Beyond anything that makes a difference, and short of an overflow.
constexpr std::int64_t furthest = 1'000'000;

std::int32_t reduced(std::int64_t value) { return static_cast<std::int32_t>(std::clamp(value, -furthest, furthest)); }

}  // namespace

std::uint32_t LooperSnapshot::launchGrid() const {
    switch (launchQuantize) {
        case 1:
            return ticksPerBeat;
        case 2:
            return ticksPerBar;
        case 3:
            return 2 * ticksPerBar;
        case 4:
            return 4 * ticksPerBar;
        default:
            return 0;
    }
}

LooperSnapshot LooperSettings::realTime() const {
    LooperSnapshot snapshot{.quantizeGrid = reduced(quantizeGrid),
                            .swing = reduced(swing),
                            .probability = reduced(probability),
                            .transpose = reduced(transpose),
                            .feedback = reduced(feedback),
                            .speed = reduced(speed),
                            .launchQuantize = reduced(launchQuantize),
                            .recordLengthBars = reduced(recordLengthBars),
                            .postRecordAction = reduced(postRecordAction),
                            .inputMonitor = reduced(inputMonitor),
                            .preCountBars = reduced(preCountBars),
                            .reverse = reverse,
                            .forwardClock = forwardClock,
                            .metronome = metronome,
                            .remote = {.hasTrigger = triggerMode == 1,
                                       .triggerCC = triggerCC,
                                       .triggerCCToggle = triggerCCToggle,
                                       .numbers = {recordCC, playCC, overdubCC, stopCC, clearCC, undoCC, redoCC,
                                                   swingCC, probabilityCC, feedbackCC, transposeCC},
                                       .toggles = {recordCCToggle, playCCToggle, overdubCCToggle, stopCCToggle,
                                                   clearCCToggle, undoCCToggle, redoCCToggle}}};
    const auto know = [&](std::uint8_t number) {
        if (number >= 128) return;
        (number < 64 ? snapshot.remoteNumbers : snapshot.highRemoteNumbers) |= std::uint64_t{1} << (number % 64);
    };
    for (const std::uint8_t number : snapshot.remote.numbers)
        if (number != 0) know(number);
    if (snapshot.remote.hasTrigger) know(triggerCC);
    return snapshot;
}

std::span<const Parameter> looperParameters() { return table; }

}  // namespace varnolex
