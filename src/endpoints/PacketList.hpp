#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <span>

#include "platform/HostTime.hpp"

namespace varnolex {

/// How the numbers of a list lie in its memory. Reading and building lists is inline: most lists hold one short packet,
/// for which a call costs as much as the work.
namespace packetlayout {

inline constexpr std::size_t countSize = sizeof(std::uint32_t);
inline constexpr std::size_t headerSize = sizeof(HostTime) + sizeof(std::uint16_t);

template <class Number>
Number numberAt(std::span<const std::uint8_t> memory, std::size_t offset) {
    Number number;
    std::memcpy(&number, memory.data() + offset, sizeof number);
    return number;
}

template <class Number>
void putNumber(std::span<std::uint8_t> memory, std::size_t offset, Number number) {
    std::memcpy(memory.data() + offset, &number, sizeof number);
}

/// What the length of a packet can say.
inline constexpr std::size_t longestPacket = std::numeric_limits<std::uint16_t>::max();

constexpr std::size_t nextBoundary(std::size_t offset) { return (offset + 3) & ~std::size_t{3}; }

inline bool holdsPacketAt(std::span<const std::uint8_t> memory, std::size_t offset) {
    if (offset > memory.size() || memory.size() - offset < headerSize) return false;
    const auto length = numberAt<std::uint16_t>(memory, offset + sizeof(HostTime));
    return memory.size() - offset - headerSize >= length;
}

}  // namespace packetlayout

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

inline PacketListView::Iterator::Iterator(std::span<const std::uint8_t> listMemory, std::uint32_t count)
    : memory(listMemory), offset(packetlayout::countSize), remaining(count) {
    if (remaining > 0 && !packetlayout::holdsPacketAt(memory, offset)) remaining = 0;
    if (remaining > 0) load();
}

inline PacketListView::Iterator& PacketListView::Iterator::operator++() {
    offset = packetlayout::nextBoundary(offset + packetlayout::headerSize + packet.bytes.size());
    remaining = packet.isLast ? 0 : remaining - 1;
    if (remaining > 0) load();
    return *this;
}

inline void PacketListView::Iterator::load() {
    using namespace packetlayout;
    const auto length = numberAt<std::uint16_t>(memory, offset + sizeof(HostTime));
    packet.timeStamp = numberAt<HostTime>(memory, offset);
    packet.bytes = memory.subspan(offset + headerSize, length);
    packet.isLast = remaining == 1 || !holdsPacketAt(memory, nextBoundary(offset + headerSize + length));
}

inline std::uint32_t PacketListView::count() const {
    return memory.size() < packetlayout::countSize ? 0 : packetlayout::numberAt<std::uint32_t>(memory, 0);
}

inline PacketListBuilder::PacketListBuilder(std::span<std::uint8_t> listBuffer) : buffer(listBuffer) { clear(); }

inline bool PacketListBuilder::add(HostTime timeStamp, std::span<const std::uint8_t> bytes) {
    using namespace packetlayout;
    const std::size_t start = nextBoundary(used);
    if (bytes.size() > longestPacket) return false;
    if (used == 0 || start > buffer.size() || buffer.size() - start < headerSize + bytes.size()) return false;
    while (used < start) buffer[used++] = 0;
    putNumber(buffer, start, timeStamp);
    putNumber(buffer, start + sizeof(HostTime), static_cast<std::uint16_t>(bytes.size()));
    if (!bytes.empty()) std::memcpy(buffer.data() + start + headerSize, bytes.data(), bytes.size());
    used = start + headerSize + bytes.size();
    putNumber(buffer, 0, ++packets);
    return true;
}

inline void PacketListBuilder::clear() {
    packets = 0;
    used = buffer.size() < packetlayout::countSize ? 0 : packetlayout::countSize;
    if (used > 0) packetlayout::putNumber(buffer, 0, packets);
}

/// The buffer in which a batch leaves: what fits in it goes out as one list.
inline constexpr std::size_t packetListCapacity = 4096;

/// The builder under the names of the service's own operations.
inline PacketListBuilder MIDIPacketListInit(std::span<std::uint8_t> buffer) { return PacketListBuilder(buffer); }
inline bool MIDIPacketListAdd(PacketListBuilder& list, HostTime timeStamp, std::span<const std::uint8_t> bytes) {
    return list.add(timeStamp, bytes);
}

}  // namespace varnolex
