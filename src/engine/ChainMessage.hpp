#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/HostTime.hpp"

namespace varnolex {

/// One message on the processing road: a view of one complete MIDI message, status byte first, with its time and
/// its place in the batch. The bytes are valid only during the call that hands the message over; whoever keeps
/// them copies them, and nobody writes to them.
///
/// A length of 0 is an empty carrier: no message, but the end of a batch goes on in it. Its bytes must not be read.
struct ChainMessage {
    const std::uint8_t* bytes = nullptr;
    std::size_t length = 0;
    HostTime timeStamp = 0;

    /// True on the last message of the batch that the source delivered, and on every message that a tool
    /// generates by itself. Outputs gather while it is false and send when it is true.
    bool isLastInBatch = true;

    bool isEmptyCarrier() const { return length == 0; }

    /// The first byte. The following accessors need a message that is long enough to have what they name.
    std::uint8_t status() const { return bytes[0]; }
    std::uint8_t kind() const { return bytes[0] & 0xF0; }
    /// The channel, 0 to 15.
    std::uint8_t channel() const { return bytes[0] & 0x0F; }
    std::uint8_t data1() const { return bytes[1]; }
    std::uint8_t data2() const { return bytes[2]; }

    /// A whole message of three bytes of this kind (0x80 to 0xE0).
    bool isThreeBytes(std::uint8_t wantedKind) const { return length == 3 && kind() == wantedKind; }

    bool isNoteOn() const { return isThreeBytes(0x90) && bytes[2] > 0; }
    bool isNoteEnd() const { return isThreeBytes(0x80) || (isThreeBytes(0x90) && bytes[2] == 0); }
    bool isNote() const { return isThreeBytes(0x80) || isThreeBytes(0x90); }
    bool isController() const { return isThreeBytes(0xB0); }
    /// The value is in the first data byte; a second one may follow, and means nothing.
    bool isChannelPressure() const { return (length == 2 || length == 3) && kind() == 0xD0; }
    bool isClockTick() const { return length == 1 && bytes[0] == 0xF8; }

    /// note + 128 x channel, below 2048 whatever the bytes are: what tells sounding notes apart.
    std::uint16_t noteKey() const { return static_cast<std::uint16_t>((data1() & 0x7F) + 128 * channel()); }

    /// The same place in the batch without a message: how a tool drops one.
    ChainMessage dropped() const { return {nullptr, 0, timeStamp, isLastInBatch}; }

    /// The same message, with more of its batch to come.
    ChainMessage notLast() const { return {bytes, length, timeStamp, false}; }

    /// The same message as the end of a batch.
    ChainMessage asLast() const { return {bytes, length, timeStamp, true}; }

    /// Other bytes in this message's place. They must outlive the call that takes the result.
    ChainMessage carrying(std::span<const std::uint8_t> other) const {
        return {other.data(), other.size(), timeStamp, isLastInBatch};
    }
};

/// The bytes of a channel message or of a shorter one that a tool makes, in storage of their own.
class ShortMessage {
public:
    ShortMessage(std::uint8_t status) : held{status, 0, 0}, count(1) {}
    ShortMessage(std::uint8_t status, std::uint8_t data1) : held{status, data1, 0}, count(2) {}
    ShortMessage(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) : held{status, data1, data2}, count(3) {}

    /// A message of one to three bytes, with another status.
    ShortMessage(std::uint8_t status, const ChainMessage& like)
        : held{status, like.length > 1 ? like.bytes[1] : std::uint8_t{0},
               like.length > 2 ? like.bytes[2] : std::uint8_t{0}},
          count(like.length) {}

    /// A message of two or three bytes, with another first data byte.
    static ShortMessage withData1(std::uint8_t data1, const ChainMessage& like) {
        ShortMessage made(like.status(), like);
        made.held[1] = data1;
        return made;
    }

    static ShortMessage noteOff(std::uint8_t channel, std::uint8_t note, std::uint8_t velocity = 0) {
        return {static_cast<std::uint8_t>(0x80 | channel), note, velocity};
    }
    static ShortMessage noteOn(std::uint8_t channel, std::uint8_t note, std::uint8_t velocity) {
        return {static_cast<std::uint8_t>(0x90 | channel), note, velocity};
    }
    static ShortMessage controller(std::uint8_t channel, std::uint8_t number, std::uint8_t value) {
        return {static_cast<std::uint8_t>(0xB0 | channel), number, value};
    }

    operator std::span<const std::uint8_t>() const { return {held.data(), count}; }

private:
    std::array<std::uint8_t, 3> held;
    std::size_t count;
};

}  // namespace varnolex
