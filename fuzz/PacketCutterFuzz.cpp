// USES tools

#include <cstdlib>

#include "tools/endpoints/PacketCutter.hpp"

/// Cuts any bytes as one packet: every message is whole in shape, begins with a status byte unless the packet is too
/// short to be cut, and the cutting ends.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnolex;
    PacketCutter cutter({data, size});
    std::size_t messages = 0;
    while (const auto message = cutter.next()) {
        if (message->empty() || ++messages > size) std::abort();
        if (size < 4) continue;
        if (message->front() < 0x80) std::abort();
        if (message->front() != 0xF0 && message->size() > 3) std::abort();
    }
    if (cutter.next() || !cutter.isAtEnd()) std::abort();
    return 0;
}
