#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/HostTime.hpp"
#include "tools/generator/MidiGeneratorSettings.hpp"

namespace varnolex {

/// What a pass plays, prepared on the main thread: the messages in one piece of memory, each with its wait.
class GeneratorEvents {
public:
    struct Event {
        std::uint32_t offset = 0;
        std::uint32_t length = 0;
        /// The time from the event before; without it the common delay holds.
        std::optional<Nanoseconds> wait;
        /// The place of a byte that is drawn each time; without it the bytes are a whole message as they stand.
        std::optional<std::uint32_t> randomByte;
        std::uint8_t randomMin = 0;
        std::uint8_t randomMax = 0;
        /// 0 when the event doesn't end its note.
        Nanoseconds noteDuration{0};
    };

    /// The steps in order. One that is no MIDI message takes its time and sends nothing.
    static GeneratorEvents ofSteps(std::span<const GeneratorStep> steps);

    /// The first track of a Standard MIDI File, at its own tempo. A file that can't be read gives no events.
    static GeneratorEvents ofMIDIFile(std::string_view contents);

    /// Every message from 0xF0 to 0xF7 in the bytes; whatever stands between them is skipped. A message waits until
    /// the one before has gone through a serial MIDI line.
    static GeneratorEvents ofSysExFile(std::string_view contents);

    const std::vector<Event>& list() const { return events; }
    std::span<std::uint8_t> bytes(const Event& event) { return std::span(arena).subspan(event.offset, event.length); }

    /// How long the last message needs before another pass may begin.
    Nanoseconds tail() const { return tailLength; }

private:
    Event& append(std::span<const std::uint8_t> message);
    void appendSysEx(std::span<const std::uint8_t> message);

    std::vector<Event> events;
    std::vector<std::uint8_t> arena;
    Nanoseconds tailLength{0};
};

/// A time in milliseconds as a setting tells it: 0 or more, and short of an overflow.
Nanoseconds waitOf(std::int64_t milliseconds);

/// Whether the bytes are one MIDI message that may go out on a line.
bool isWholeMessage(std::span<const std::uint8_t> bytes);

}  // namespace varnolex
