#include "core/midifile/TempoMap.hpp"

#include <algorithm>
#include <limits>

namespace varnolex {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::uint32_t defaultTempo = 500'000;

struct Ratio {
    std::uint64_t numerator;
    std::uint64_t denominator;
};

/// Seconds of one SMPTE frame.
Ratio frameLength(std::uint8_t framesPerSecond) {
    if (framesPerSecond == 29) return {1001, 30'000};
    return {1, framesPerSecond};
}

}  // namespace

TempoMap::TempoMap(MIDIFileDivision division, std::span<const TempoChange> changes) {
    if (division.isSMPTE()) {
        const Ratio frame = frameLength(division.framesPerSecond);
        denominator = frame.denominator * std::max<std::uint64_t>(division.ticksPerFrame, 1);
        append(0, nanosecondsPerSecond * frame.numerator, defaultTempo);
        return;
    }
    denominator = std::max<std::uint64_t>(division.ticksPerQuarter, 1);
    append(0, defaultTempo * std::uint64_t{1000}, defaultTempo);
    for (const TempoChange& change : changes)
        append(change.tick, change.microsecondsPerQuarter * std::uint64_t{1000}, change.microsecondsPerQuarter);
}

void TempoMap::append(std::uint64_t tick, std::uint64_t step, std::uint32_t tempo) {
    Stretch stretch{tick, 0, 0, step, tempo};
    if (!stretches.empty()) {
        const Stretch& last = stretches.back();
        const Wide moment = Wide{tick - last.tick} * last.step + last.part;
        const Wide whole = moment / denominator + last.whole;
        stretch.whole = whole > latestTime ? latestTime : static_cast<std::uint64_t>(whole);
        stretch.part = static_cast<std::uint64_t>(moment % denominator);
        if (last.tick == tick) stretches.pop_back();
    }
    stretches.push_back(stretch);
}

const TempoMap::Stretch& TempoMap::stretchAt(std::uint64_t tick) const {
    const auto behind = std::upper_bound(stretches.begin(), stretches.end(), tick,
                                         [](std::uint64_t sought, const Stretch& one) { return sought < one.tick; });
    return *(behind - 1);
}

std::uint64_t TempoMap::momentIn(const Stretch& stretch, std::uint64_t tick) const {
    const std::uint64_t rounding = denominator / 2;
    std::uint64_t narrow = 0;
    if (!__builtin_mul_overflow(tick - stretch.tick, stretch.step, &narrow) &&
        !__builtin_add_overflow(narrow, stretch.part + rounding, &narrow))
        return std::min(stretch.whole + narrow / denominator, latestTime);
    const Wide moment = (Wide{tick - stretch.tick} * stretch.step + stretch.part + rounding) / denominator;
    return static_cast<std::uint64_t>(std::min(moment + stretch.whole, Wide{latestTime}));
}

std::uint64_t TempoMap::nanoseconds(std::uint64_t tick) const { return momentIn(stretchAt(tick), tick); }

std::uint64_t TempoMap::nearestTick(std::uint64_t time) const {
    const auto behind = std::upper_bound(stretches.begin() + 1, stretches.end(), time,
                                         [](std::uint64_t sought, const Stretch& one) { return sought < one.whole; });
    const Stretch& stretch = *(behind - 1);
    const std::uint64_t step = std::max<std::uint64_t>(stretch.step, 1);
    const Wide distance = Wide{time - stretch.whole} * denominator;
    const Wide offset = distance < stretch.part ? 0 : (distance - stretch.part + step / 2) / step;
    const Wide last = behind == stretches.end() ? std::numeric_limits<std::uint64_t>::max() : behind->tick;
    const auto nearest = static_cast<std::uint64_t>(std::min(offset + stretch.tick, last));
    // Halfway between two ticks, the one that rounds to this very nanosecond is meant.
    if (nearest > 0 && nanoseconds(nearest) != time && nanoseconds(nearest - 1) == time) return nearest - 1;
    return nearest;
}

std::uint64_t TempoMap::tempoEnd(std::uint64_t tick) const {
    const Stretch* next = &stretchAt(tick) + 1;
    return next == stretches.data() + stretches.size() ? std::numeric_limits<std::uint64_t>::max() : next->tick;
}

std::uint32_t TempoMap::microsecondsPerQuarter(std::uint64_t tick) const {
    return stretchAt(tick).microsecondsPerQuarter;
}

std::uint64_t TempoCursor::nanoseconds(std::uint64_t tick) {
    const auto& stretches = map->stretches;
    if (tick < stretches[index].tick) index = 0;
    while (index + 1 < stretches.size() && stretches[index + 1].tick <= tick) ++index;
    return map->momentIn(stretches[index], tick);
}

}  // namespace varnolex
