#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "endpoints/MIDIService.hpp"
#include "endpoints/memory/MemoryRouting.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// What another application's endpoint tells about itself. An empty string is a property that it hasn't got.
struct MIDIEndpointDescription {
    std::string displayName{};
    /// 0 takes the one that belongs to the name, or the next free one.
    std::int32_t uniqueID = 0;
    std::string manufacturer{};
    std::string model{};
    std::string driverOwner{};
};

/// A MIDI service that lives inside the process: for tests, for `render`, and for a machine without any other. It
/// also lets its owner play the other applications. References are never given twice.
///
/// Threads: as the contract says. Playing the others belongs to the main thread too, except `send` and
/// `sendToVirtualDestination`, which run the read blocks on the calling thread: any thread, one at a time for each
/// port or virtual destination that hears it.
class MemoryService final : public MIDIService {
public:
    /// The operations that can be made to fail.
    enum class Operation : std::uint8_t {
        MIDIClientCreateWithBlock,
        MIDIGetSource,
        MIDIGetDestination,
        MIDIObjectGetIntegerProperty,
        MIDIObjectGetStringProperty,
        MIDIObjectSetIntegerProperty,
        MIDIObjectSetStringProperty,
        MIDIInputPortCreateWithBlock,
        MIDIPortConnectSource,
        MIDIPortDisconnectSource,
        MIDIOutputPortCreate,
        MIDIPortDispose,
        MIDISourceCreate,
        MIDIDestinationCreateWithBlock,
        MIDIEndpointDispose,
        MIDISend,
        MIDIReceived,
        count,
    };

    /// A `Runtime` must be installed.
    MemoryService();
    ~MemoryService() override;

    // The other applications' side.

    MIDIEndpointRef plugSource(MIDIEndpointDescription description);
    MIDIEndpointRef plugDestination(MIDIEndpointDescription description);
    /// Takes an endpoint of another application away, with its connections. Nothing for any other reference.
    void unplug(MIDIEndpointRef endpoint);
    /// Gives an endpoint of another application a new display name.
    void rename(MIDIEndpointRef endpoint, std::string displayName);

    /// Plays a list on a plugged source: the read blocks of the ports that are connected to it run inside the call,
    /// in the order in which they were connected.
    MIDIStatus send(MIDIEndpointRef source, const PacketListView& list);
    /// Sends a list to a virtual destination of this process, whose read block runs inside the call.
    MIDIStatus sendToVirtualDestination(MIDIEndpointRef destination, const PacketListView& list);

    /// Hears every list that is sent to a plugged destination.
    MIDIStatus listen(MIDIEndpointRef destination, MIDIListener listener);
    /// Hears every list that this process sends through a virtual source of its own.
    MIDIStatus listenToVirtualSource(MIDIEndpointRef source, MIDIListener listener);

    /// The next `times` calls of the operation fail with the status and do nothing; of `MIDIGetSource` and
    /// `MIDIGetDestination` they give a reference of 0. Any thread.
    void failNext(Operation operation, MIDIStatus status, std::size_t times = 1);
    /// Tells every client that something happened, any number being allowed.
    void notify(MIDINotificationID message);

    /// How many lists for this process itself were lost because too many were under way. Any thread.
    std::uint64_t lostLists() const { return routing->lostLists(); }

    // The contract.

    std::string_view backendName() const override { return "memory"; }
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
    MIDIStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, const PacketListView& list) override;
    MIDIStatus MIDIReceived(MIDIEndpointRef source, const PacketListView& list) override;

private:
    struct Connection {
        MIDIPortRef port = 0;
        std::uintptr_t connection = 0;
    };
    struct Endpoint {
        MIDIEndpointDescription description{};
        bool isSource = false;
        bool isVirtual = false;
        /// Of a virtual destination.
        std::shared_ptr<const MIDIReadBlock> read{};
        /// Of a source, in the order in which they were made.
        std::vector<Connection> connections{};
        std::vector<std::shared_ptr<const MIDIListener>> listeners{};
    };
    struct Failure {
        std::size_t times = 0;
        MIDIStatus status = midiSuccess;
    };
    using Failures = std::array<Failure, static_cast<std::size_t>(Operation::count)>;
    using Clients = std::map<MIDIClientRef, MIDINotifyBlock>;

    /// The status that the operation was told to fail with, or success.
    MIDIStatus injected(Operation operation);
    Endpoint* find(MIDIEndpointRef endpoint, bool isVirtual);
    MIDIEndpointRef addEndpoint(Endpoint endpoint);
    void removeEndpoint(MIDIEndpointRef endpoint);
    MIDIStatus addListener(Endpoint* endpoint, MIDIListener listener);
    std::int32_t freeUniqueID(const std::string& name) const;
    bool isTaken(std::int32_t uniqueID) const;
    /// Replaces what sending reads by what the lists below say now.
    void publish();

    MIDIObjectRef lastReference = 0;
    std::shared_ptr<Clients> clients = std::make_shared<Clients>();
    std::map<MIDIPortRef, std::shared_ptr<const MIDIReadBlock>> inputPorts;
    std::vector<MIDIPortRef> outputPorts;
    std::map<MIDIEndpointRef, Endpoint> endpoints;
    std::vector<MIDIEndpointRef> sources;
    std::vector<MIDIEndpointRef> destinations;
    std::shared_ptr<MemoryRouting> routing = std::make_shared<MemoryRouting>();
    Guarded<Failures> failures;
    SharedValue<bool> mayFail{false};
};

}  // namespace varnolex
