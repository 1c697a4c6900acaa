#pragma once

#include <cstdint>

namespace varnolex {

/// Which end of the channels an MPE zone grows from.
enum class MPEZoneType : std::uint8_t { lower, upper };

/// A group of channels that MPE uses: a master channel and its members.
struct MPEZone {
    /// What a zone has until something else is agreed on, in semitones.
    static constexpr int defaultBendRange = 48;

    MPEZoneType type = MPEZoneType::lower;
    int memberCount = 0;
    int bendRange = defaultBendRange;

    bool operator==(const MPEZone&) const = default;
};

}  // namespace varnolex
