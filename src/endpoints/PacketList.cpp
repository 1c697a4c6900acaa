#include "endpoints/PacketList.hpp"

#include <cstring>
#include <limits>

namespace varnolex {

namespace {

constexpr std::size_t countSize = sizeof(std::uint32_t);
constexpr std::size_t headerSize = sizeof(HostTime) + sizeof(std::uint16_t);

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

constexpr std::size_t nextBoundary(std::size_t offset) { return (offset + 3) & ~std::size_t{3}; }

bool holdsPacketAt(std::span<const std::uint8_t> memory, std::size_t offset) {
    if (offset > memory.size() || memory.size() - offset < headerSize) return false;
    const auto length = numberAt<std::uint16_t>(memory, offset + sizeof(HostTime));
    return memory.size() - offset - headerSize >= length;
}

}  // namespace

PacketListView::Iterator::Iterator(std::span<const std::uint8_t> listMemory, std::uint32_t count)
    : memory(listMemory), offset(countSize), remaining(count) {
    if (remaining > 0 && !holdsPacketAt(memory, offset)) remaining = 0;
    if (remaining > 0) load();
}

PacketListView::Iterator& PacketListView::Iterator::operator++() {
    offset = nextBoundary(offset + headerSize + packet.bytes.size());
    remaining = packet.isLast ? 0 : remaining - 1;
    if (remaining > 0) load();
    return *this;
}

void PacketListView::Iterator::load() {
    const auto length = numberAt<std::uint16_t>(memory, offset + sizeof(HostTime));
    packet.timeStamp = numberAt<HostTime>(memory, offset);
    packet.bytes = memory.subspan(offset + headerSize, length);
    packet.isLast = remaining == 1 || !holdsPacketAt(memory, nextBoundary(offset + headerSize + length));
}

std::uint32_t PacketListView::count() const {
    return memory.size() < countSize ? 0 : numberAt<std::uint32_t>(memory, 0);
}

bool PacketListView::isWhole() const {
    if (memory.size() < countSize) return false;
    std::uint32_t found = 0;
    for ([[maybe_unused]] const Packet& packet : *this) ++found;
    return found == count();
}

std::span<const std::uint8_t> PacketListView::usedMemory() const {
    if (memory.size() < countSize) return {};
    std::size_t length = countSize;
    for (const Packet& packet : *this)
        length = static_cast<std::size_t>(packet.bytes.data() - memory.data()) + packet.bytes.size();
    return memory.first(length);
}

PacketListBuilder::PacketListBuilder(std::span<std::uint8_t> listBuffer) : buffer(listBuffer) { clear(); }

bool PacketListBuilder::add(HostTime timeStamp, std::span<const std::uint8_t> bytes) {
    const std::size_t start = nextBoundary(used);
    if (bytes.size() > std::numeric_limits<std::uint16_t>::max()) return false;
    if (used == 0 || start > buffer.size() || buffer.size() - start < headerSize + bytes.size()) return false;
    std::memset(buffer.data() + used, 0, start - used);
    putNumber(buffer, start, timeStamp);
    putNumber(buffer, start + sizeof(HostTime), static_cast<std::uint16_t>(bytes.size()));
    if (!bytes.empty()) std::memcpy(buffer.data() + start + headerSize, bytes.data(), bytes.size());
    used = start + headerSize + bytes.size();
    putNumber(buffer, 0, ++packets);
    return true;
}

void PacketListBuilder::clear() {
    packets = 0;
    used = buffer.size() < countSize ? 0 : countSize;
    if (used > 0) putNumber(buffer, 0, packets);
}

}  // namespace varnolex
