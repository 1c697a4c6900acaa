#include "endpoints/tap/TapDesk.hpp"

#include <limits>
#include <utility>

namespace varnolex {

namespace protocol = interceptorprotocol;

std::optional<PortBytes> TapDesk::take(std::int32_t id, std::span<const std::uint8_t> data) {
    if (id == protocol::signOn) return signOn();
    if (id == protocol::ready) {
        if (Client* const client = find(protocol::clientNumberFrom(data))) client->isReady = true;
        return std::nullopt;
    }
    const auto forwarding = protocol::forwardingFrom(data);
    if (!forwarding) return std::nullopt;
    Client* const client = find(forwarding->client);
    if (!client) return std::nullopt;
    if (id == protocol::startForwarding && client->wanted.size() < destinationLimit)
        client->wanted.insert(forwarding->destinationUniqueID);
    else if (id == protocol::stopForwarding)
        client->wanted.erase(forwarding->destinationUniqueID);
    return std::nullopt;
}

std::optional<PortBytes> TapDesk::signOn() {
    if (!makeRoom()) return std::nullopt;
    const auto given = [this] {
        return std::exchange(next, next == std::numeric_limits<ClientNumber>::max() ? 1 : next + 1);
    };
    ClientNumber number = given();
    while (clients.contains(number)) number = given();
    clients[number].turn = ++turns;
    return protocol::bytesOf(number);
}

/// Whoever has signed on and never become ready has died meanwhile, or never meant it: the longest waiting one goes.
bool TapDesk::makeRoom() {
    if (clients.size() < clientLimit) return true;
    auto oldest = clients.end();
    for (auto each = clients.begin(); each != clients.end(); ++each)
        if (!each->second.isReady && (oldest == clients.end() || each->second.turn < oldest->second.turn))
            oldest = each;
    if (oldest == clients.end()) return false;
    clients.erase(oldest);
    return true;
}

TapDesk::Client* TapDesk::find(std::optional<ClientNumber> number) {
    if (!number) return nullptr;
    const auto found = clients.find(*number);
    return found != clients.end() ? &found->second : nullptr;
}

}  // namespace varnolex
