#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <span>

#include "core/SoundingNotes.hpp"

namespace varnolex {

/// What sounds at one receiver, by what was sent to it: notes, and the pedals that let them sound on behind their ends.
/// One thread at a time; no allocation.
class SoundingChannels {
public:
    /// Whether a message may change anything here, as far as its first byte tells.
    static bool concerns(std::span<const std::uint8_t> message) {
        return message.size() >= 3 && ((message[0] & 0xE0) == 0x80 || (message[0] & 0xF0) == 0xB0);
    }

    /// Notes one message, status byte first. Only notes and pedals matter.
    void observe(std::span<const std::uint8_t> message) {
        if (!concerns(message)) return;
        if ((message[0] & 0xF0) != 0xB0) return notes.observe(message);
        for (std::size_t pedal = 0; pedal < pedals.size(); ++pedal)
            if (message[1] == pedals[pedal]) pressed[message[0] & 0x0F].set(pedal, message[2] >= 64);
    }

    /// Hands what ends all of it to `send(std::span<const std::uint8_t>)`, notes first, and forgets it.
    template <class Send>
    void end(Send&& send) {
        notes.end(send);
        for (std::size_t channel = 0; channel < pressed.size(); ++channel) {
            for (std::size_t pedal = 0; pedal < pedals.size(); ++pedal) {
                if (!pressed[channel].test(pedal)) continue;
                const std::array<std::uint8_t, 3> release{static_cast<std::uint8_t>(0xB0 | channel), pedals[pedal], 0};
                send(std::span<const std::uint8_t>(release));
            }
            pressed[channel].reset();
        }
    }

private:
    /// Damper, sostenuto and the second hold pedal.
    static constexpr std::array<std::uint8_t, 3> pedals{64, 66, 69};

    SoundingNotes notes;
    std::array<std::bitset<pedals.size()>, 16> pressed;
};

}  // namespace varnolex
