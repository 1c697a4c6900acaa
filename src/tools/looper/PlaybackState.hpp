#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/HostTime.hpp"
#include "tools/looper/LooperTransport.hpp"

namespace varnolex {

/// note + 128 x channel: what tells a looper's notes apart.
using NoteKey = std::uint16_t;

inline constexpr std::size_t noteKeyCount = 16 * 128;

constexpr NoteKey noteKeyOf(std::uint8_t channel, std::uint8_t note) {
    return static_cast<NoteKey>((channel & 0x0F) << 7 | (note & 0x7F));
}

/// How many played-back notes of each key await their end.
class SoundingCounts {
public:
    void add(NoteKey key) {
        if (counts[key] == UINT16_MAX) return;
        ++counts[key];
        ++total;
    }

    /// False when none of this key sounds.
    bool take(NoteKey key) {
        if (counts[key] == 0) return false;
        --counts[key];
        --total;
        return true;
    }

    bool isEmpty() const { return total == 0; }

    /// Hands each key to `use` as often as it sounds, and forgets them.
    template <class Use>
    void takeAll(Use&& use) {
        for (NoteKey key = 0; total > 0 && key < noteKeyCount; ++key)
            while (take(key)) use(key);
    }

private:
    std::array<std::uint16_t, noteKeyCount> counts{};
    std::uint32_t total = 0;
};

/// The notes that are held while they are recorded: at most one of each key.
class HeldPresses {
public:
    struct Press {
        std::uint32_t tick = 0;
        std::uint8_t velocity = 0;
    };

    void put(NoteKey key, Press press) {
        presses[key] = press;
        held.set(key);
    }

    std::optional<Press> take(NoteKey key) {
        if (!held.test(key)) return std::nullopt;
        held.reset(key);
        return presses[key];
    }

    void forget(NoteKey key) { held.reset(key); }
    void clear() { held.reset(); }

    /// Hands each key and press to `use`, and forgets them.
    template <class Use>
    void takeAll(Use&& use) {
        for (NoteKey key = 0; held.any() && key < noteKeyCount; ++key)
            if (const auto press = take(key)) use(key, *press);
    }

private:
    std::array<Press, noteKeyCount> presses{};
    std::bitset<noteKeyCount> held;
};

/// The state of a looper's time line.
struct PlaybackState {
    LooperTransport transport = LooperTransport::empty;
    std::uint32_t currentTick = 0;
    /// At half speed: whether the next clock message is the one that moves nothing.
    bool tickAccumulator = false;
    SoundingCounts activePlaybackNotes{};
    HeldPresses pendingRecordNotes{};
    /// How much there was when this overdub pass began.
    std::size_t overdubStartEventCount = 0;
    std::size_t overdubStartRawEventCount = 0;
    /// What waits for the launch grid.
    std::optional<LooperAction> pendingAction{};
    std::optional<bool> pendingReverse{};
    /// A direction taken at the grid that the main thread hasn't put into the settings yet.
    std::optional<bool> reverseTaken{};
    /// When the footswitch went down; 0 while it is up.
    HostTime triggerDownTime = 0;
    std::uint64_t preCountTicksRemaining = 0;
    /// When the footswitch was last tapped.
    HostTime lastTriggerTime = 0;
    HostTime lastTickTime = 0;
    /// Between clock messages, smoothed; 0 while it isn't known.
    std::uint64_t tickIntervalNs = 0;
};

}  // namespace varnolex
