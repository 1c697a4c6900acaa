#pragma once

#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "endpoints/PacketList.hpp"

namespace varnolex {

/// Messages that wait for the end of their batch, and the lists that they leave in. Memory that it has come to need
/// it keeps, so that it doesn't allocate in steady state.
class PendingBatch {
public:
    /// A batch that has grown to this many bytes should leave although its end hasn't come, or it would take the memory
    /// of the machine.
    static constexpr std::size_t sizeLimit = std::size_t{1} << 20;

    PendingBatch() {
        bytes.reserve(packetListCapacity);
        entries.reserve(packetListCapacity / 8);
    }

    bool isEmpty() const { return entries.empty(); }
    bool isOverfull() const { return bytes.size() >= sizeLimit; }

    void append(std::span<const std::uint8_t> message, HostTime timeStamp) {
        entries.push_back({bytes.size(), message.size(), timeStamp});
        bytes.insert(bytes.end(), message.begin(), message.end());
    }

    void clear() {
        bytes.clear();
        entries.clear();
    }

    /// Hands everything to `send(PacketListView)`, in order, in as few lists as hold it. A message that no list of the
    /// usual size holds travels in a list of its own, or in several when it is longer than a packet can be.
    template <class Send>
    void sendAll(Send&& send) {
        PacketListBuilder list(listMemory);
        for (const Entry& entry : entries) {
            const auto message = std::span<const std::uint8_t>(bytes).subspan(entry.offset, entry.length);
            if (list.add(entry.timeStamp, message)) continue;
            sendIfAny(list, send);
            list.clear();
            if (!list.add(entry.timeStamp, message)) sendAlone(message, entry.timeStamp, send);
        }
        sendIfAny(list, send);
    }

private:
    struct Entry {
        std::size_t offset;
        std::size_t length;
        HostTime timeStamp;
    };

    /// What the 16-bit length of a packet can say.
    static constexpr std::size_t longestPacket = 65535;
    /// The count of a list, and the time and length of its one packet.
    static constexpr std::size_t headerLength = 4 + 8 + 2;

    template <class Send>
    static void sendIfAny(const PacketListBuilder& list, Send& send) {
        if (list.count() > 0) send(list.list());
    }

    template <class Send>
    void sendAlone(std::span<const std::uint8_t> message, HostTime timeStamp, Send& send) {
        while (!message.empty()) {
            const auto piece = message.first(std::min(message.size(), longestPacket));
            message = message.subspan(piece.size());
            if (largeMemory.size() < headerLength + piece.size()) largeMemory.resize(headerLength + piece.size());
            PacketListBuilder list(largeMemory);
            list.add(timeStamp, piece);
            send(list.list());
        }
    }

    std::vector<std::uint8_t> bytes;
    std::vector<Entry> entries;
    std::array<std::uint8_t, packetListCapacity> listMemory{};
    std::vector<std::uint8_t> largeMemory;
};

}  // namespace varnolex
