#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "endpoints/tap/DestinationTap.hpp"
#include "endpoints/tap/TapDesk.hpp"
#include "endpoints/tap/TapForwarder.hpp"

namespace varnolex {

/// The driver: answers the clients' port protocol, taps what at least one of them wants, and sends each what it asked
/// for. Clients that die are forgotten. Main thread; whatever clients do, however often, it is taken up there in one
/// step for all that has come.
class TapServer {
public:
    TapServer(MessagePorts& messagePorts, DestinationTap& destinationTap);
    ~TapServer();
    TapServer(const TapServer&) = delete;
    TapServer& operator=(const TapServer&) = delete;

    /// Opens the driver's port. False with a sentence when that fails: another driver is running.
    bool start(std::string& failure);

    /// Clients that can be sent to.
    std::size_t clientCount() const { return links.size(); }
    /// Unique IDs of the destinations that are tapped.
    const std::set<std::int32_t>& tapped() const { return tappedIDs; }
    /// How many copies were dropped.
    std::uint64_t lostCopies() const { return forwarder->lostCopies(); }

private:
    /// What the port's thread and the main thread share.
    struct Reception {
        explicit Reception(TapServer* owner);
        /// Any thread: has the main thread look at the desk.
        void announce(const std::shared_ptr<Reception>& self);

        Guarded<TapDesk> desk;
        SharedValue<bool> isAnnounced{false};
        /// Null once the server is gone. Main thread.
        TapServer* server;
    };

    void reconcile();
    void followClients(const TapDesk::Clients& clients);
    void followWishes(const TapDesk::Clients& clients);
    void publishRoutes(const TapDesk::Clients& clients);

    MessagePorts& ports;
    DestinationTap& tap;
    std::shared_ptr<Reception> reception;
    std::shared_ptr<TapForwarder> forwarder;
    std::map<interceptorprotocol::ClientNumber, std::shared_ptr<TapLink>> links;
    std::set<std::int32_t> tappedIDs;
    std::unique_ptr<LocalMessagePort> local;
};

}  // namespace varnolex
