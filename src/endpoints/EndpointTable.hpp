#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "endpoints/EndpointRouting.hpp"
#include "endpoints/MIDIService.hpp"

namespace varnolex {

/// What an endpoint tells about itself. An empty string is a property that it hasn't got.
struct MIDIEndpointDescription {
    std::string displayName{};
    /// 0 takes the one that belongs to the name, or the next free one.
    std::int32_t uniqueID = 0;
    std::string manufacturer{};
    std::string model{};
    std::string driverOwner{};

    bool operator==(const MIDIEndpointDescription&) const = default;
};

/// The contract of a MIDI service, all but the transport: clients, ports, endpoints with their properties,
/// connections, notification and routing. What is said to endpoints of this process stays inside it. A backend
/// derives from it and brings the other applications: it adds and removes their endpoints, gives endpoints their
/// outlets, hands in what arrives with `handIn`, and makes its transport agree with the table whenever
/// `tableDidChange` is called. References are never given twice.
///
/// Threads: as the contract says; what is protected belongs to the main thread unless it says otherwise. A `Runtime`
/// must be installed.
class EndpointTable : public MIDIService {
public:
    /// How many lists for this process itself were lost because too many were under way. Any thread.
    std::uint64_t lostLists() const { return routing->lostLists(); }

    MIDIStatus MIDIClientCreateWithBlock(const std::string& name, MIDINotifyBlock notifyBlock,
                                         MIDIClientRef& client) override;
    std::size_t MIDIGetNumberOfSources() override { return sources.size(); }
    MIDIEndpointRef MIDIGetSource(std::size_t index) override;
    std::size_t MIDIGetNumberOfDestinations() override { return destinations.size(); }
    MIDIEndpointRef MIDIGetDestination(std::size_t index) override;
    MIDIStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, MIDIProperty property, std::int32_t& value) override;
    MIDIStatus MIDIObjectGetStringProperty(MIDIObjectRef object, MIDIProperty property, std::string& value) override;
    MIDIStatus MIDIObjectSetIntegerProperty(MIDIObjectRef object, MIDIProperty property, std::int32_t value) override;
    MIDIStatus MIDIObjectSetStringProperty(MIDIObjectRef object, MIDIProperty property,
                                           const std::string& value) override;
    MIDIStatus MIDIObjectFindByUniqueID(std::int32_t uniqueID, MIDIObjectRef& object) override;
    MIDIStatus MIDIInputPortCreateWithBlock(MIDIClientRef client, const std::string& name, MIDIReadBlock read,
                                            MIDIPortRef& port) override;
    MIDIStatus MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, std::uintptr_t connection) override;
    MIDIStatus MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source) override;
    MIDIStatus MIDIOutputPortCreate(MIDIClientRef client, const std::string& name, MIDIPortRef& port) override;
    MIDIStatus MIDIPortDispose(MIDIPortRef port) override;
    MIDIStatus MIDISourceCreate(MIDIClientRef client, const std::string& name, MIDIEndpointRef& source) override;
    MIDIStatus MIDIDestinationCreateWithBlock(MIDIClientRef client, const std::string& name, MIDIReadBlock read,
                                              MIDIEndpointRef& destination) override;
    MIDIStatus MIDIEndpointDispose(MIDIEndpointRef endpoint) override;
    MIDIStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, const PacketListView& list) override {
        return routing->sendOut(port, destination, list);
    }
    MIDIStatus MIDIReceived(MIDIEndpointRef source, const PacketListView& list) override {
        return routing->received(source, list);
    }

protected:
    struct Connection {
        MIDIPortRef port = 0;
        std::uintptr_t connection = 0;
    };

    struct Endpoint {
        MIDIEndpointDescription description{};
        bool isSource = false;
        /// Ours.
        bool isVirtual = false;
        /// False while another application's endpoint is away but remembered.
        bool isPresent = true;
        /// Of a virtual destination.
        std::shared_ptr<PacketReader> reader{};
        /// Of a source, in the order in which they were made.
        std::vector<Connection> connections{};
        std::vector<std::shared_ptr<PacketOutlet>> outlets{};
    };

    /// Called behind every change of endpoints, names, ports and connections.
    virtual void tableDidChange() {}

    /// Another application's endpoint appears.
    MIDIEndpointRef addForeign(MIDIEndpointDescription description, bool isSource);
    /// It goes for good, with its connections.
    void removeForeign(MIDIEndpointRef endpoint);
    /// It goes away or comes back under its reference; what is connected to it is connected again when it does.
    void setForeignPresent(MIDIEndpointRef endpoint, bool isPresent);
    /// It tells something else about itself than before.
    void describeForeign(MIDIEndpointRef endpoint, MIDIEndpointDescription description);

    /// So many endpoints that have gone are remembered at least, in case they come back under their reference.
    static constexpr std::size_t goneLimit = 64;

    /// The first of those that have gone and that nothing is connected to, as soon as they are too many: the backend
    /// removes them, or a long session among short-lived programs would take ever more memory.
    std::vector<MIDIEndpointRef> longGoneForeign() const;

    /// What is sent to this destination, or through this source of ours, takes this way too.
    void addOutlet(MIDIEndpointRef endpoint, std::shared_ptr<PacketOutlet> outlet);

    /// Any thread, also a real-time one: what arrives from another application's source or for a virtual destination.
    /// The read blocks run inside the call, in the order in which they were connected.
    MIDIStatus handIn(MIDIEndpointRef endpoint, bool endpointIsSource, const PacketListView& list) {
        return routing->sendIn(endpoint, endpointIsSource, list);
    }

    /// Tells every client, on the main queue.
    void notify(MIDINotificationID message);

    /// Null for an unknown reference, or for one of the other owner.
    const Endpoint* find(MIDIEndpointRef endpoint, bool isVirtual) const;
    const std::map<MIDIEndpointRef, Endpoint>& allEndpoints() const { return endpoints; }
    bool isTaken(std::int32_t uniqueID) const;

private:
    using Clients = std::map<MIDIClientRef, MIDINotifyBlock>;

    Endpoint* findOwn(MIDIEndpointRef endpoint);
    Endpoint* findForeign(MIDIEndpointRef endpoint);
    Endpoint* findSource(MIDIEndpointRef endpoint);
    MIDIEndpointRef addEndpoint(Endpoint endpoint);
    void removeEndpoint(MIDIEndpointRef endpoint);
    void list(MIDIEndpointRef reference, const Endpoint& endpoint);
    void unlist(MIDIEndpointRef reference);
    std::int32_t freeUniqueID(const std::string& name) const;
    /// Replaces what sending reads by what the lists below say now, and lets the backend follow.
    void publish();

    MIDIObjectRef lastReference = 0;
    std::shared_ptr<Clients> clients = std::make_shared<Clients>();
    std::map<MIDIPortRef, std::shared_ptr<PacketReader>> inputPorts;
    std::vector<MIDIPortRef> outputPorts;
    std::map<MIDIEndpointRef, Endpoint> endpoints;
    std::vector<MIDIEndpointRef> sources;
    std::vector<MIDIEndpointRef> destinations;
    std::shared_ptr<EndpointRouting> routing = std::make_shared<EndpointRouting>();
};

}  // namespace varnolex
