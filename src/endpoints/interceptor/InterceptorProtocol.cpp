#include "endpoints/interceptor/InterceptorProtocol.hpp"

namespace varnolex::interceptorprotocol {

namespace {

constexpr std::size_t numberSize = sizeof(std::int32_t);

std::int32_t numberAt(std::span<const std::uint8_t> data, std::size_t offset) {
    return packetlayout::numberAt<std::int32_t>(data, offset);
}

}  // namespace

std::string clientPortName(ClientNumber client) { return std::string(driverPortName) + "." + std::to_string(client); }

PortBytes bytesOf(ClientNumber client) {
    PortBytes bytes(numberSize);
    packetlayout::putNumber(std::span(bytes), 0, client);
    return bytes;
}

PortBytes bytesOf(const Forwarding& forwarding) {
    PortBytes bytes(2 * numberSize);
    packetlayout::putNumber(std::span(bytes), 0, forwarding.client);
    packetlayout::putNumber(std::span(bytes), numberSize, forwarding.destinationUniqueID);
    return bytes;
}

std::optional<ClientNumber> clientNumberFrom(std::span<const std::uint8_t> data) {
    if (data.size() != numberSize) return std::nullopt;
    return numberAt(data, 0);
}

std::optional<Forwarding> forwardingFrom(std::span<const std::uint8_t> data) {
    if (data.size() != 2 * numberSize) return std::nullopt;
    return Forwarding{numberAt(data, 0), numberAt(data, numberSize)};
}

std::optional<Copy> copyFrom(std::span<const std::uint8_t> data) {
    if (data.size() < numberSize + packetlayout::countSize) return std::nullopt;
    const Copy copy{numberAt(data, 0), PacketListView(data.subspan(numberSize))};
    if (!copy.list.isWhole()) return std::nullopt;
    return copy;
}

void writeCopy(std::int32_t destinationUniqueID, const PacketListView& list, PortBytes& output) {
    const std::span<const std::uint8_t> memory = list.usedMemory();
    output.resize(numberSize);
    packetlayout::putNumber(std::span(output), 0, destinationUniqueID);
    output.insert(output.end(), memory.begin(), memory.end());
}

}  // namespace varnolex::interceptorprotocol
