#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

#include "platform/HostTime.hpp"

namespace varnolex {

/// One packet of a packet list. The bytes belong to the list and are valid as long as its memory is.
struct Packet {
    /// Host ticks; 0 means "now".
    HostTime timeStamp = 0;
    std::span<const std::uint8_t> bytes;
    /// True on the last packet that the list really holds, also when its count promises more.
    bool isLast = false;
};

/// A packet list in its wire layout, read in place: a 32-bit count, then packets of a 64-bit time stamp, a 16-bit
/// length and the bytes, each packet beginning at a 4-byte boundary counted from the list's first byte. All numbers
/// are in the machine's byte order; nothing needs to be aligned in memory. A small value; it neither owns nor copies.
///
/// The walk never leaves the memory it was given: it ends at the first packet that isn't wholly inside, whatever the
/// count says, so a list from another process may be walked as it is. Any thread, no allocation.
class PacketListView {
public:
    class Iterator {
    public:
        using value_type = Packet;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::forward_iterator_tag;
        using reference = const Packet&;
        using pointer = const Packet*;

        Iterator() = default;

        reference operator*() const { return packet; }
        pointer operator->() const { return &packet; }
        Iterator& operator++();
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator& other) const { return remaining == other.remaining; }

    private:
        friend class PacketListView;
        Iterator(std::span<const std::uint8_t> listMemory, std::uint32_t count);
        void load();

        std::span<const std::uint8_t> memory;
        std::size_t offset = 0;
        /// Packets from this one on, 0 at the end.
        std::uint32_t remaining = 0;
        Packet packet;
    };

    PacketListView() = default;

    /// `listMemory` may be longer than the list; what follows it is not looked at.
    explicit PacketListView(std::span<const std::uint8_t> listMemory) : memory(listMemory) {}

    Iterator begin() const { return Iterator(memory, count()); }
    Iterator end() const { return {}; }

    /// The number of packets that the list claims to hold; 0 when there isn't even room for the number.
    std::uint32_t count() const;

    /// Whether every packet that the list claims to hold is inside the memory.
    bool isWhole() const;

    /// The list's memory from the count to the end of the last packet that it really holds.
    std::span<const std::uint8_t> usedMemory() const;

private:
    std::span<const std::uint8_t> memory;
};

/// Writes a packet list into memory of the caller. Any thread (one at a time), no allocation.
class PacketListBuilder {
public:
    /// Starts an empty list. A buffer without room for the count takes no packet at all.
    explicit PacketListBuilder(std::span<std::uint8_t> listBuffer);

    /// Appends one packet, with its time as given. False when it doesn't fit in the buffer or is longer than a length
    /// field can say (65535 bytes): the list is then as it was, and a shorter packet may still fit.
    bool add(HostTime timeStamp, std::span<const std::uint8_t> bytes);

    /// Back to an empty list.
    void clear();

    std::uint32_t count() const { return packets; }

    /// What was built so far, valid until the next change.
    PacketListView list() const { return PacketListView(buffer.first(used)); }

private:
    std::span<std::uint8_t> buffer;
    std::size_t used = 0;
    std::uint32_t packets = 0;
};

/// The buffer in which a batch leaves: what fits in it goes out as one list.
inline constexpr std::size_t packetListCapacity = 4096;

/// The builder under the names of the service's own operations.
inline PacketListBuilder MIDIPacketListInit(std::span<std::uint8_t> buffer) { return PacketListBuilder(buffer); }
inline bool MIDIPacketListAdd(PacketListBuilder& list, HostTime timeStamp, std::span<const std::uint8_t> bytes) {
    return list.add(timeStamp, bytes);
}

}  // namespace varnolex
