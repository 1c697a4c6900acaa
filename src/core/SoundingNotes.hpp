#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <span>

namespace varnolex {

/// Which notes of one receiver sound, by what was sent to it, so that whoever leaves can end them. One thread at a
/// time; no allocation.
class SoundingNotes {
public:
    /// Notes one message, status byte first. Only note messages matter.
    void observe(std::span<const std::uint8_t> message) {
        if (message.size() < 3 || (message[0] & 0xE0) != 0x80) return;
        const bool begins = (message[0] & 0x10) != 0 && message[2] != 0;
        channels[message[0] & 0x0F].set(message[1] & 0x7F, begins);
    }

    /// Hands a Note Off for every note that sounds to `send(std::span<const std::uint8_t>)`, and forgets them.
    template <class Send>
    void end(Send&& send) {
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            for (std::size_t note = 0; channels[channel].any(); ++note) {
                if (!channels[channel].test(note)) continue;
                channels[channel].reset(note);
                const std::array<std::uint8_t, 3> noteOff{static_cast<std::uint8_t>(0x80 | channel),
                                                          static_cast<std::uint8_t>(note), 0x40};
                send(std::span<const std::uint8_t>(noteOff));
            }
        }
    }

private:
    std::array<std::bitset<128>, 16> channels;
};

}  // namespace varnolex
