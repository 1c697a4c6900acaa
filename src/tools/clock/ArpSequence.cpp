#include "tools/clock/ArpSequence.hpp"

#include <algorithm>

#include "platform/Runtime.hpp"

namespace varnolex {

void ArpSequence::press(Step key) {
    release(key.note, key.channel);
    held[heldCount++] = key;
}

void ArpSequence::release(std::uint8_t note, std::uint8_t channel) {
    const auto end = held.begin() + static_cast<std::ptrdiff_t>(heldCount);
    const auto kept =
        std::remove_if(held.begin(), end, [&](const Step& key) { return key.note == note && key.channel == channel; });
    heldCount = static_cast<std::size_t>(kept - held.begin());
}

void ArpSequence::clear() {
    heldCount = 0;
    expandedCount = 0;
    stepIndex = 0;
}

void ArpSequence::rebuild(std::int64_t pattern, std::int64_t octaveRange) {
    if (heldCount == 0) return clear();
    cyclePattern = pattern;
    if (pattern == arpAsPlayed)
        std::copy_n(held.begin(), heldCount, expanded.begin());
    else
        placeByPitch();
    addOctaves(octaveRange);
    if (stepIndex >= cycleLength()) stepIndex = 0;
}

// A counting sort, which keeps the order of playing among equal notes of several channels.
void ArpSequence::placeByPitch() {
    std::array<std::uint16_t, 129> places{};
    for (std::size_t index = 0; index < heldCount; ++index) ++places[held[index].note + 1u];
    for (std::size_t note = 1; note < places.size(); ++note)
        places[note] = static_cast<std::uint16_t>(places[note] + places[note - 1]);
    for (std::size_t index = 0; index < heldCount; ++index) expanded[places[held[index].note]++] = held[index];
}

void ArpSequence::addOctaves(std::int64_t octaveRange) {
    expandedCount = octaveRange > 0 ? heldCount : 0;
    const int octaves = static_cast<int>(std::clamp<std::int64_t>(octaveRange, 0, highestOctave + 1));
    for (int octave = 1; octave < octaves; ++octave)
        for (std::size_t index = 0; index < heldCount; ++index) {
            Step step = expanded[index];
            const int pitch = step.note + 12 * octave;
            if (pitch > 127) continue;
            step.note = static_cast<std::uint8_t>(pitch);
            expanded[expandedCount++] = step;
        }
}

std::optional<ArpSequence::Step> ArpSequence::next() {
    const std::size_t length = cycleLength();
    if (length == 0) return std::nullopt;
    if (cyclePattern == arpRandom) {
        const auto last = static_cast<std::int64_t>(length) - 1;
        return expanded[static_cast<std::size_t>(Runtime::current().randomInteger(0, last))];
    }
    const std::size_t now = stepIndex % length;
    stepIndex = (now + 1) % length;
    return expanded[placeOf(now)];
}

std::size_t ArpSequence::cycleLength() const {
    const bool turnsBack = cyclePattern == arpUpDown || cyclePattern == arpDownUp;
    return turnsBack && expandedCount >= 2 ? 2 * expandedCount - 2 : expandedCount;
}

std::size_t ArpSequence::placeOf(std::size_t stepInCycle) const {
    const std::size_t last = expandedCount - 1;
    switch (cyclePattern) {
        case arpDown:
            return last - stepInCycle;
        case arpUpDown:
            return stepInCycle <= last ? stepInCycle : 2 * last - stepInCycle;
        case arpDownUp:
            return stepInCycle <= last ? last - stepInCycle : stepInCycle - last;
        default:
            return stepInCycle;
    }
}

}  // namespace varnolex
