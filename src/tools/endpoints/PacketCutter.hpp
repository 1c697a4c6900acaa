#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "core/message/DataLength.hpp"

namespace varnolex {

/// Cuts the bytes of one packet into MIDI messages, in order. It owns nothing but the three bytes in which a message
/// of running status is put together, so it never allocates; a span that it gave is valid until the next one is
/// asked for. Any bytes may be cut.
class PacketCutter {
public:
    /// The packet's bytes must outlive the cutter.
    explicit PacketCutter(std::span<const std::uint8_t> packetBytes) : bytes(packetBytes) {}

    /// The next message, of at least one byte; nothing when the packet is used up. A message that the packet's end
    /// cuts short comes with the bytes that are there.
    std::optional<std::span<const std::uint8_t>> next() {
        if (bytes.size() < shortestCut) return takeWhole();
        while (offset < bytes.size()) {
            const std::uint8_t byte = bytes[offset];
            if (byte >= 0x80) return takeWithStatus(byte);
            if (runningStatus != 0) return takeRunning();
            ++offset;
        }
        return std::nullopt;
    }

    /// Whether the message just given reached the end of the packet.
    bool isAtEnd() const { return offset >= bytes.size(); }

    /// How many messages a packet holds.
    static std::size_t count(std::span<const std::uint8_t> packet) {
        std::size_t messages = 0;
        for (PacketCutter cutter(packet); cutter.next();) ++messages;
        return messages;
    }

private:
    using Message = std::optional<std::span<const std::uint8_t>>;

    /// A shorter packet is one message as it stands.
    static constexpr std::size_t shortestCut = 4;

    Message takeWhole() { return isAtEnd() ? std::nullopt : take(bytes.size()); }

    Message take(std::size_t length) {
        const auto message = bytes.subspan(offset, std::min(length, bytes.size() - offset));
        offset += message.size();
        return message;
    }

    Message takeWithStatus(std::uint8_t status) {
        if (status >= 0xF8) return take(1);
        runningStatus = status < 0xF0 ? status : std::uint8_t{0};
        if (status == 0xF0) return takeSystemExclusive();
        return take(1 + dataLengthOf(status));
    }

    Message takeSystemExclusive() {
        const auto rest = bytes.subspan(offset);
        const auto end = std::ranges::find(rest, std::uint8_t{0xF7});
        return take(static_cast<std::size_t>(end - rest.begin()) + 1);
    }

    /// Data bytes that lack their status byte. When they don't all fit, nothing that follows can be told apart.
    Message takeRunning() {
        const std::size_t length = dataLengthOf(runningStatus);
        if (bytes.size() - offset < length) {
            offset = bytes.size();
            return std::nullopt;
        }
        built[0] = runningStatus;
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), length, built.begin() + 1);
        offset += length;
        return std::span<const std::uint8_t>(built).first(1 + length);
    }

    std::span<const std::uint8_t> bytes;
    std::size_t offset = 0;
    std::uint8_t runningStatus = 0;
    std::array<std::uint8_t, 3> built{};
};

}  // namespace varnolex
