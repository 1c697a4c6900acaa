#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <optional>

#include "tools/mpe/MPEChannels.hpp"

namespace varnolex {

/// The sounding notes of a zone, one a channel, so that 16 is the most there can be.
class MPEVoices {
public:
    MPEVoices() { channels.fill(none); }

    struct Stolen {
        std::uint8_t channel;
        std::uint8_t note;
    };

    struct Allocation {
        std::uint8_t channel;
        /// The note that has to end first on that channel.
        std::optional<Stolen> stolen{};
    };

    /// Finds a channel for a note: the first member that is free, else that of the voice that began first. A further
    /// note of the same key takes the voice over. `key` is the note's key (note + 128 x channel).
    Allocation allocate(std::uint16_t key, const MPEChannels& zone) {
        if (const unsigned free = zone.members() & ~sounding) return store(key, {firstOf(free)});
        const auto oldest = oldestChannel();
        if (!oldest) return {1};
        const std::uint16_t ended = voices[*oldest].key;
        return store(key, {*oldest, Stolen{*oldest, static_cast<std::uint8_t>(ended % 128)}});
    }

    /// Ends the voice of a key and returns its channel.
    std::optional<std::uint8_t> release(std::uint16_t key) {
        const std::uint8_t channel = channels[key];
        if (channel == none) return std::nullopt;
        channels[key] = none;
        sounding &= ~(1u << channel);
        return channel;
    }

private:
    static constexpr std::size_t keyCount = 16 * 128;
    /// No channel has this number.
    static constexpr std::uint8_t none = 0xFF;

    struct Voice {
        std::uint16_t key = 0;
        /// When it began, in allocations.
        std::uint64_t lastUsedTick = 0;
    };

    static std::uint8_t firstOf(unsigned channels) { return static_cast<std::uint8_t>(std::countr_zero(channels)); }

    Allocation store(std::uint16_t key, const Allocation& made) {
        release(key);
        if (made.stolen) channels[voices[made.channel].key] = none;
        voices[made.channel] = {key, ++lruTick};
        channels[key] = made.channel;
        sounding |= 1u << made.channel;
        return made;
    }

    std::optional<std::uint8_t> oldestChannel() const {
        std::optional<std::uint8_t> oldest;
        for (unsigned left = sounding; left != 0; left &= left - 1) {
            const std::uint8_t channel = firstOf(left);
            if (!oldest || voices[channel].lastUsedTick < voices[*oldest].lastUsedTick) oldest = channel;
        }
        return oldest;
    }

    /// By channel; bit n of `sounding` tells whether the one of channel n counts.
    std::array<Voice, 16> voices;
    /// By key: the channel of its voice.
    std::array<std::uint8_t, keyCount> channels;
    unsigned sounding = 0;
    std::uint64_t lruTick = 0;
};

}  // namespace varnolex
