#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>

#include "endpoints/interceptor/InterceptorProtocol.hpp"

namespace varnolex {

/// Who has signed on with the driver and what they want, as they told it. It believes nothing that can't be: its size
/// is bounded, and what isn't from a client that signed on is ignored. A plain value.
class TapDesk {
public:
    using ClientNumber = interceptorprotocol::ClientNumber;

    static constexpr std::size_t clientLimit = 32;
    static constexpr std::size_t destinationLimit = 256;

    struct Client {
        /// Whether the client's own port is open.
        bool isReady = false;
        /// Unique IDs of destinations.
        std::set<std::int32_t> wanted;
        /// The order in which clients came.
        std::uint64_t turn = 0;
    };
    using Clients = std::map<ClientNumber, Client>;

    /// Numbers are given from `firstNumber` on, so that a driver that starts again doesn't give those that clients of
    /// its former run still have.
    explicit TapDesk(ClientNumber firstNumber = 1) : next(firstNumber) {}

    /// Takes one message of the protocol, and gives the reply to it where there is one. Empty for a client that finds
    /// no room.
    std::optional<PortBytes> take(std::int32_t id, std::span<const std::uint8_t> data);

    void forget(ClientNumber client) { clients.erase(client); }

    const Clients& all() const { return clients; }

private:
    std::optional<PortBytes> signOn();
    bool makeRoom();
    Client* find(std::optional<ClientNumber> number);

    Clients clients;
    ClientNumber next;
    std::uint64_t turns = 0;
};

}  // namespace varnolex
