#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "endpoints/PacketList.hpp"

/// Walks any bytes as a packet list, then builds what was found anew and compares the two.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnolex;
    const PacketListView list({data, size});
    const auto used = list.usedMemory();
    if (used.size() > size) std::abort();

    std::vector<std::uint8_t> memory(size + 4);
    PacketListBuilder builder(memory);
    bool wasLast = false;
    for (const Packet& packet : list) {
        if (wasLast || !builder.add(packet.timeStamp, packet.bytes)) std::abort();
        wasLast = packet.isLast;
    }
    if (builder.count() > 0 && !wasLast) std::abort();
    if (list.isWhole() && builder.count() != list.count()) std::abort();

    auto original = list.begin();
    for (const Packet& packet : builder.list()) {
        if (packet.timeStamp != original->timeStamp || packet.isLast != original->isLast ||
            packet.bytes.size() != original->bytes.size() ||
            !std::equal(packet.bytes.begin(), packet.bytes.end(), original->bytes.begin()))
            std::abort();
        ++original;
    }
    return 0;
}
