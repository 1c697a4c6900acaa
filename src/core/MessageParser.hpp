#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "core/message/Message.hpp"

namespace varnolex {

/// Turns runs of raw MIDI bytes into typed messages. One parser serves one input and is used by one thread at a
/// time; what it keeps from run to run is an open System Exclusive message and nothing else. Once its buffers
/// have reached their working size it leaves the general heap alone.
class MessageParser {
public:
    /// A System Exclusive message that grows beyond this is handed out in pieces, all but the last without EOX, so
    /// that an input that never ends one can't take all memory.
    static constexpr std::size_t longestSysEx = 16 * 1024 * 1024;

    /// Appends the messages found in a run, in order. `timeStamp` is a host time, 0 standing for unknown; each
    /// message gets it but a System Exclusive message, which gets that of the run in which it began. A voice or
    /// system common message that the run cuts off is lost.
    void parse(const std::uint8_t* bytes, std::size_t length, HostTime timeStamp, MessageList& output);

    /// The same into a list of its own.
    MessageList parse(const std::uint8_t* bytes, std::size_t length, HostTime timeStamp);

    /// Whether a System Exclusive message is open.
    bool isReadingSysEx() const { return readingSysEx; }

    /// The data so far of the open System Exclusive message, without its 0xF0.
    std::span<const std::uint8_t> readingSysExData() const { return sysExData; }

    /// The name that System Exclusive messages carry; on other messages the caller sets it.
    SharedName originatingEndpointName;

    /// Makes bytes that belong to no message vanish instead of coming out as an `InvalidMessage`.
    bool ignoresInvalidData = false;

private:
    class Run;

    bool readingSysEx = false;
    HostTime startSysExTimeStamp = 0;
    std::vector<std::uint8_t> sysExData;
    /// Used within one call; kept for its memory.
    std::vector<std::uint8_t> invalidBytes;
};

}  // namespace varnolex
