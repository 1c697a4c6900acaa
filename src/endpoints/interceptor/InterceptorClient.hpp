#pragma once

#include <map>
#include <memory>
#include <vector>

#include "endpoints/interceptor/DestinationMap.hpp"
#include "endpoints/interceptor/InterceptorLibrary.hpp"
#include "endpoints/interceptor/InterceptorProtocol.hpp"

namespace varnolex {

/// A destination that a port hears.
struct InterceptorConnection {
    std::weak_ptr<InterceptorPort> port;
    MIDIEndpointRef destination = 0;
    std::int32_t uniqueID = 0;
    std::uintptr_t reference = 0;
};

class InterceptorPort {
public:
    InterceptorPort(std::weak_ptr<InterceptorClient> portClient, MIDIReadBlock readBlock)
        : client(std::move(portClient)), read(std::make_shared<const MIDIReadBlock>(std::move(readBlock))) {}

    /// Empty once the port has been disposed of.
    std::weak_ptr<InterceptorClient> client;
    const std::shared_ptr<const MIDIReadBlock> read;
};

/// Main thread. The worker thread is the local port's own; it sees the connections as they were last published.
class InterceptorClient : public std::enable_shared_from_this<InterceptorClient> {
public:
    explicit InterceptorClient(std::shared_ptr<DestinationMap> destinationMap);

    InterceptorStatus signOn(MessagePorts& messagePorts);
    /// Ends the worker thread and all ports.
    void close();

    InterceptorPortRef addPort(MIDIReadBlock read);
    void removePort(InterceptorPortRef port);
    InterceptorStatus connect(const InterceptorPortRef& port, MIDIEndpointRef destination, std::uintptr_t reference);
    InterceptorStatus disconnect(const InterceptorPortRef& port, MIDIEndpointRef destination);

private:
    using Connections = std::map<MIDIEndpointRef, std::vector<InterceptorConnection>>;

    /// The worker thread's view.
    struct Reader {
        std::shared_ptr<const MIDIReadBlock> read;
        std::uintptr_t reference = 0;
    };
    struct Reception {
        void receive(std::span<const std::uint8_t> data) const;

        std::shared_ptr<const DestinationMap> destinations;
        Published<std::map<MIDIEndpointRef, std::vector<Reader>>> readers;
    };

    bool isWanted(std::int32_t uniqueID) const;
    PortOutcome ask(interceptorprotocol::Request request, std::int32_t uniqueID);
    void publish();

    std::unique_ptr<RemoteMessagePort> remote;
    interceptorprotocol::ClientNumber number = 0;
    std::vector<InterceptorPortRef> ports;
    Connections connections;
    std::shared_ptr<Reception> reception = std::make_shared<Reception>();
    std::unique_ptr<LocalMessagePort> local;
};

}  // namespace varnolex
