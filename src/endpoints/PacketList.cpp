#include "endpoints/PacketList.hpp"

namespace varnolex {

bool PacketListView::isWhole() const {
    if (memory.size() < packetlayout::countSize) return false;
    std::uint32_t found = 0;
    for ([[maybe_unused]] const Packet& packet : *this) ++found;
    return found == count();
}

std::span<const std::uint8_t> PacketListView::usedMemory() const {
    if (memory.size() < packetlayout::countSize) return {};
    std::size_t length = packetlayout::countSize;
    for (const Packet& packet : *this)
        length = static_cast<std::size_t>(packet.bytes.data() - memory.data()) + packet.bytes.size();
    return memory.first(length);
}

}  // namespace varnolex
