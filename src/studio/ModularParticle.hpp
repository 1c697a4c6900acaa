#pragma once

#include <cstdint>

#include "platform/UUID.hpp"

namespace varnolex {

/// A dot that runs along a cable to show that something passed.
struct ModularParticle {
    enum class Kind { noteOn, noteOff, cc, programChange, pitchBend, aftertouch, clock, system };

    /// The kind for a message that begins with this byte. A note's velocity isn't looked at.
    static Kind kindOf(std::uint8_t statusByte);

    UUID id;
    UUID connectionID;
    Kind kind = Kind::system;
    /// Seconds of the media clock.
    double spawnTime = 0;
};

/// What the drawing layer observes, so that a particle doesn't make observers of the whole graph redraw.
struct ParticleSignal {
    bool hasPending = false;
    std::size_t particleCount = 0;
};

}  // namespace varnolex
