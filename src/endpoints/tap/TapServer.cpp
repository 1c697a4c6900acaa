#include "endpoints/tap/TapServer.hpp"

#include <limits>

#include "platform/Runtime.hpp"

namespace varnolex {

namespace protocol = interceptorprotocol;

TapServer::Reception::Reception(TapServer* owner)
    : desk(TapDesk(static_cast<protocol::ClientNumber>(
          Runtime::current().randomInteger(1, std::numeric_limits<protocol::ClientNumber>::max())))),
      server(owner) {}

void TapServer::Reception::announce(const std::shared_ptr<Reception>& self) {
    if (isAnnounced.exchange(true)) return;
    Runtime::current().mainQueue().async([self] {
        self->isAnnounced.exchange(false);
        if (self->server) self->server->reconcile();
    });
}

TapServer::TapServer(MessagePorts& messagePorts, DestinationTap& destinationTap)
    : ports(messagePorts), tap(destinationTap), reception(std::make_shared<Reception>(this)) {
    forwarder = std::make_shared<TapForwarder>([held = reception](protocol::ClientNumber client) {
        held->desk.with([&](TapDesk& desk) { desk.forget(client); });
        held->announce(held);
    });
    forwarder->start();
    tap.setListener([weakForwarder = std::weak_ptr(forwarder)](std::int32_t uniqueID, const PacketListView& list) {
        if (const auto living = weakForwarder.lock()) living->forward(uniqueID, list);
    });
}

TapServer::~TapServer() {
    local.reset();
    reception->server = nullptr;
    for (const std::int32_t uniqueID : tappedIDs) tap.stop(uniqueID);
}

bool TapServer::start(std::string& failure) {
    assertMainThread();
    local = ports.open(
        protocol::driverPortName,
        [held = reception](std::int32_t id, std::span<const std::uint8_t> data) {
            const auto reply = held->desk.with([&](TapDesk& desk) { return desk.take(id, data); });
            held->announce(held);
            return reply;
        },
        failure);
    return local != nullptr;
}

void TapServer::reconcile() {
    followClients(reception->desk.get().all());
    // Those whose port wasn't there have been forgotten.
    const TapDesk desk = reception->desk.get();
    followWishes(desk.all());
    publishRoutes(desk.all());
}

void TapServer::followClients(const TapDesk::Clients& clients) {
    std::erase_if(links, [&](const auto& entry) { return !clients.contains(entry.first); });
    for (const auto& [number, client] : clients) {
        if (!client.isReady || links.contains(number)) continue;
        if (auto remote = ports.find(protocol::clientPortName(number))) {
            links[number] = std::make_shared<TapLink>(TapLink{number, std::move(remote)});
        } else {
            reception->desk.with([gone = number](TapDesk& desk) { desk.forget(gone); });
        }
    }
}

void TapServer::followWishes(const TapDesk::Clients& clients) {
    std::set<std::int32_t> wanted;
    for (const auto& [number, client] : clients)
        if (links.contains(number)) wanted.insert(client.wanted.begin(), client.wanted.end());
    for (const std::int32_t uniqueID : tappedIDs)
        if (!wanted.contains(uniqueID)) tap.stop(uniqueID);
    for (const std::int32_t uniqueID : wanted)
        if (!tappedIDs.contains(uniqueID)) tap.start(uniqueID);
    tappedIDs = std::move(wanted);
}

void TapServer::publishRoutes(const TapDesk::Clients& clients) {
    auto routes = std::make_unique<TapForwarder::Routes>();
    for (const auto& [number, link] : links) {
        const auto client = clients.find(number);
        if (client == clients.end()) continue;
        routes->links.push_back(link);
        for (const std::int32_t uniqueID : client->second.wanted) routes->wanting[uniqueID].push_back(link);
    }
    forwarder->setRoutes(std::move(routes));
}

}  // namespace varnolex
