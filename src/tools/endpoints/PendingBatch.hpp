#pragma once

#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "endpoints/PacketList.hpp"

namespace varnolex {

/// Messages that wait for the end of their batch, in the lists that they leave in: as few as hold them, of the usual
/// size. A message that none of that size holds travels in a list of its own, or in several when it is longer than a
/// packet can be. Memory that it has come to need it keeps, so that it doesn't allocate in steady state.
class PendingBatch {
public:
    /// A batch that has grown to this many bytes should leave although its end hasn't come, or it would take the memory
    /// of the machine.
    static constexpr std::size_t sizeLimit = std::size_t{1} << 20;

    PendingBatch() {
        earlierLists.reserve(2 * packetListCapacity);
        earlierEnds.reserve(16);
    }
    PendingBatch(const PendingBatch&) = delete;
    PendingBatch& operator=(const PendingBatch&) = delete;

    bool isEmpty() const { return earlierEnds.empty() && list.count() == 0; }
    bool isOverfull() const { return earlierLists.size() >= sizeLimit; }

    std::size_t listCount() const { return earlierEnds.size() + (list.count() > 0 ? 1 : 0); }

    void append(std::span<const std::uint8_t> message, HostTime timeStamp) {
        if (list.add(timeStamp, message)) return;
        finishList();
        if (!list.add(timeStamp, message)) appendAlone(message, timeStamp);
    }

    void clear() {
        list.clear();
        earlierLists.clear();
        earlierEnds.clear();
    }

    /// Hands every list to `send(PacketListView)`, in order.
    template <class Send>
    void sendAll(Send&& send) const {
        std::size_t begin = 0;
        for (const std::size_t end : earlierEnds) {
            send(PacketListView(std::span(earlierLists).subspan(begin, end - begin)));
            begin = end;
        }
        if (list.count() > 0) send(list.list());
    }

private:
    void finishList() {
        if (list.count() == 0) return;
        const auto used = list.list().usedMemory();
        earlierLists.insert(earlierLists.end(), used.begin(), used.end());
        earlierEnds.push_back(earlierLists.size());
        list.clear();
    }

    void appendAlone(std::span<const std::uint8_t> message, HostTime timeStamp) {
        while (!message.empty()) {
            const auto piece = message.first(std::min(message.size(), packetlayout::longestPacket));
            message = message.subspan(piece.size());
            const std::size_t begin = earlierLists.size();
            earlierLists.resize(begin + packetlayout::countSize + packetlayout::headerSize + piece.size());
            PacketListBuilder(std::span(earlierLists).subspan(begin)).add(timeStamp, piece);
            earlierEnds.push_back(earlierLists.size());
        }
    }

    std::array<std::uint8_t, packetListCapacity> listMemory;
    PacketListBuilder list{listMemory};
    /// Lists that were full before the batch was, one behind the other, and where each ends.
    std::vector<std::uint8_t> earlierLists;
    std::vector<std::size_t> earlierEnds;
};

}  // namespace varnolex
