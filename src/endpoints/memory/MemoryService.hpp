#pragma once

#include <array>
#include <functional>
#include <string>

#include "endpoints/EndpointTable.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// Another application that hears an endpoint: called with each list, on the thread that sends it.
using MIDIListener = std::function<void(const PacketListView&)>;

/// A MIDI service that lives inside the process: for tests, for `render`, and for a machine without any other. It
/// also lets its owner play the other applications. References are never given twice.
///
/// Threads: as the contract says. Playing the others belongs to the main thread too, except `send` and
/// `sendToVirtualDestination`, which run the read blocks on the calling thread: any thread.
class MemoryService final : public EndpointTable {
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
    using EndpointTable::notify;

    // The contract.

    std::string_view backendName() const override { return "memory"; }
    MIDIStatus MIDIClientCreateWithBlock(const std::string& name, MIDINotifyBlock notifyBlock,
                                         MIDIClientRef& client) override;
    MIDIEndpointRef MIDIGetSource(std::size_t index) override;
    MIDIEndpointRef MIDIGetDestination(std::size_t index) override;
    MIDIStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, MIDIProperty property, std::int32_t& value) override;
    MIDIStatus MIDIObjectGetStringProperty(MIDIObjectRef object, MIDIProperty property, std::string& value) override;
    MIDIStatus MIDIObjectSetIntegerProperty(MIDIObjectRef object, MIDIProperty property, std::int32_t value) override;
    MIDIStatus MIDIObjectSetStringProperty(MIDIObjectRef object, MIDIProperty property,
                                           const std::string& value) override;
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
    struct Failure {
        std::size_t times = 0;
        MIDIStatus status = midiSuccess;
    };
    using Failures = std::array<Failure, static_cast<std::size_t>(Operation::count)>;

    /// The status that the operation was told to fail with, or success.
    MIDIStatus injected(Operation operation);
    MIDIStatus addListener(const Endpoint* endpoint, MIDIEndpointRef reference, MIDIListener listener);

    Guarded<Failures> failures;
    SharedValue<bool> mayFail{false};
};

}  // namespace varnolex
