#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "endpoints/interceptor/InterceptorProtocol.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Published.hpp"

namespace varnolex {

/// The way to one client's port. Used by the forwarder's queue alone.
struct TapLink {
    interceptorprotocol::ClientNumber client = 0;
    std::unique_ptr<RemoteMessagePort> remote;
    bool isDead = false;
};

/// Carries copies of lists from the MIDI system's real-time thread to the clients. Nobody waits: what a client doesn't
/// take at once is dropped for it and counted, and so is what finds no place on the way.
class TapForwarder : public std::enable_shared_from_this<TapForwarder> {
public:
    static constexpr std::size_t listsUnderWayLimit = 4096;
    static constexpr Nanoseconds lookPeriod = std::chrono::milliseconds(100);

    struct Routes {
        std::vector<std::shared_ptr<TapLink>> links;
        /// By the unique ID of a destination.
        std::map<std::int32_t, std::vector<std::shared_ptr<TapLink>>> wanting;
    };

    /// `onDeath` is called on the forwarder's queue, once for each client that has gone.
    explicit TapForwarder(std::function<void(interceptorprotocol::ClientNumber)> onDeath);

    /// Main thread, once: begins to look after the clients' lives.
    void start();

    /// Main thread.
    void setRoutes(std::unique_ptr<const Routes> next) { routes.publish(std::move(next)); }

    /// Any thread, also a real-time one: a copy for everybody who wants this destination.
    void forward(std::int32_t uniqueID, const PacketListView& list);

    /// How many copies were dropped. Any thread.
    std::uint64_t lostCopies() const { return lost.get(); }

private:
    struct Letter {
        std::int32_t uniqueID = 0;
        /// The message as it goes over the port.
        PortBytes bytes;
    };

    std::unique_ptr<Letter> takeLetter();
    void deliver(std::unique_ptr<Letter> letter);
    void look();
    void bury(TapLink& link);

    const std::function<void(interceptorprotocol::ClientNumber)> reportDeath;
    Published<Routes> routes;
    /// For use again, so that a list in steady state costs a copy and no allocation.
    Guarded<std::vector<std::unique_ptr<Letter>>> spareLetters;
    SharedValue<std::size_t> underWay{0};
    SharedValue<std::uint64_t> lost{0};
    std::shared_ptr<Queue> queue;
    RepeatingTimer timer;
};

}  // namespace varnolex
