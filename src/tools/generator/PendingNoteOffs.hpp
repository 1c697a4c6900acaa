#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "engine/ChainMessage.hpp"

namespace varnolex {

/// The notes that wait for their end, each with its time. No allocation; one thread at a time.
class PendingNoteOffs {
public:
    /// A note that already waits keeps its time.
    void add(std::uint16_t noteKey, HostTime due) {
        if (dues[noteKey] != 0) return;
        dues[noteKey] = std::max<HostTime>(due, 1);
        ++count;
    }

    bool isEmpty() const { return count == 0; }

    /// The next time at which a note is due. There must be one.
    HostTime earliest() const {
        HostTime found = never;
        for (const HostTime due : dues)
            if (due != 0) found = std::min(found, due);
        return found;
    }

    /// Takes out what is due at `now` and hands a Note Off for each to `send(const ShortMessage&)`.
    template <class Send>
    void takeDue(HostTime now, Send&& send) {
        for (std::size_t key = 0; key < dues.size() && count > 0; ++key) {
            if (dues[key] == 0 || dues[key] > now) continue;
            dues[key] = 0;
            --count;
            send(ShortMessage::noteOff(static_cast<std::uint8_t>(key / 128), static_cast<std::uint8_t>(key % 128)));
        }
    }

    template <class Send>
    void takeAll(Send&& send) {
        takeDue(never, send);
    }

private:
    static constexpr HostTime never = ~HostTime{0};

    std::array<HostTime, 16 * 128> dues{};
    std::size_t count = 0;
};

}  // namespace varnolex
