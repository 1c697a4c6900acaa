#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "endpoints/alsa/AlsaPorts.hpp"

struct snd_midi_event;
struct snd_seq_event;

namespace varnolex {

/// Events of the sequencer from and to the bytes of messages. One thread at a time; no allocation but the
/// constructor's.
class AlsaCodec {
public:
    /// The longest of what an event other than SysEx becomes: four controllers of a parameter number with its value,
    /// or a note with its end.
    static constexpr std::size_t longestShort = 12;

    /// Throws `std::bad_alloc`.
    AlsaCodec();
    ~AlsaCodec();
    AlsaCodec(const AlsaCodec&) = delete;
    AlsaCodec& operator=(const AlsaCodec&) = delete;

    /// One whole message, or a piece of a SysEx, which stays where it is: the event points to it. Source and
    /// destination are left open, the event is to be delivered directly. False for what the sequencer can't say.
    bool encode(std::span<const std::uint8_t> message, snd_seq_event& event);

    /// The event's messages, each with its status; a piece of a SysEx as it is. Valid until the next call and as long
    /// as the event. Empty for an event that isn't MIDI.
    std::span<const std::uint8_t> decode(const snd_seq_event& event);

private:
    struct End {
        void operator()(snd_midi_event* parser) const;
    };
    std::unique_ptr<snd_midi_event, End> parser;
    std::array<std::uint8_t, longestShort> bytes{};
};

/// What an announcement of the system means to the list of endpoints.
struct AlsaNews {
    enum class Kind : std::uint8_t {
        none,
        /// A port is there that wasn't: one that had this address before is another one.
        appeared,
        /// Something has gone, has another name, or is connected otherwise.
        changed
    };
    Kind kind = Kind::none;
    AlsaAddress address{};

    bool operator==(const AlsaNews&) const = default;
};

AlsaNews newsOf(const snd_seq_event& event);

}  // namespace varnolex
