#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "endpoints/PacketList.hpp"

namespace varnolex {

/// What the service knows things by within this run. 0 is none.
using MIDIObjectRef = std::uint32_t;
using MIDIClientRef = MIDIObjectRef;
using MIDIPortRef = MIDIObjectRef;
using MIDIEndpointRef = MIDIObjectRef;

/// The outcome of an operation: 0 is success, everything else a failure. A backend may return numbers of its own
/// system besides those named here.
using MIDIStatus = std::int32_t;

inline constexpr MIDIStatus midiSuccess = 0;
/// The client reference is unknown.
inline constexpr MIDIStatus midiInvalidClient = -1;
/// The port reference is unknown, disposed of, or of the other direction.
inline constexpr MIDIStatus midiInvalidPort = -2;
/// The endpoint reference is unknown, gone, or of the wrong kind.
inline constexpr MIDIStatus midiWrongEndpoint = -3;
/// There is no such connection.
inline constexpr MIDIStatus midiNoConnection = -4;
/// The object hasn't got this property.
inline constexpr MIDIStatus midiUnknownProperty = -5;
/// The service isn't running or refused the work.
inline constexpr MIDIStatus midiServerFailure = -6;
/// Another object has this unique ID.
inline constexpr MIDIStatus midiIDNotUnique = -7;
/// More is under way than the service can hold; what was to be sent is lost.
inline constexpr MIDIStatus midiQueueFull = -8;

/// What an endpoint tells about itself. `kMIDIPropertyUniqueID` is an integer, the others are strings.
enum MIDIProperty : std::uint8_t {
    kMIDIPropertyUniqueID,
    kMIDIPropertyName,
    kMIDIPropertyDisplayName,
    kMIDIPropertyManufacturer,
    kMIDIPropertyModel,
    kMIDIPropertyDriverOwner,
};

/// What a notify block is told. Other numbers may come and mean nothing.
using MIDINotificationID = std::int32_t;
inline constexpr MIDINotificationID midiSetupChanged = 1;
inline constexpr MIDINotificationID midiObjectAdded = 2;
inline constexpr MIDINotificationID midiObjectRemoved = 3;
inline constexpr MIDINotificationID midiPropertyChanged = 4;

/// Runs on the main queue, once for each change.
using MIDINotifyBlock = std::function<void(MIDINotificationID)>;

/// Takes a packet list, valid during the call only, and the reference that the connection was made with (0 for a
/// virtual destination). Runs on the service's own real-time thread, so it must obey the rules of the processing
/// road. One block is never run twice at once. It should hold its owner weakly: a call may be under way, and the
/// block may be kept for a while, when the port or endpoint that it came with has been disposed of.
using MIDIReadBlock = std::function<void(const PacketListView&, std::uintptr_t connection)>;

/// The MIDI service as the whole system sees it: the operations of the platform's service under their own names,
/// whatever stands behind them.
///
/// All operations belong to the main thread, except `MIDISend` and `MIDIReceived`, which any thread may call, which
/// neither wait nor (in steady state) allocate, and which never run a read block of this process inside the call:
/// a feedback loop costs no stack. A packet list is handed on at once, also when its time stamps lie ahead: the
/// receiver minds the time.
///
/// An out-parameter is written on success only. Endpoints created here are found among the sources and destinations
/// as those of others are.
class MIDIService {
public:
    virtual ~MIDIService() = default;

    /// The service of this process, as installed by the innermost living `MIDIServiceScope`. One must be installed.
    /// Any thread.
    static MIDIService& current();

    /// Whether a scope is open at all.
    static bool isInstalled();

    /// "memory", "jack" or "alsa": for telling the user what was chosen.
    virtual std::string_view backendName() const = 0;

    /// Whether something that was sent to other applications is still on its way out, also what has to wait for its
    /// time: a session that ends waits for it. Main thread.
    virtual bool isDelivering() const { return false; }

    virtual MIDIStatus MIDIClientCreateWithBlock(const std::string& name, MIDINotifyBlock notify,
                                                 MIDIClientRef& client) = 0;

    virtual std::size_t MIDIGetNumberOfSources() = 0;
    /// 0 for an index out of range, or when the endpoint vanished meanwhile.
    virtual MIDIEndpointRef MIDIGetSource(std::size_t index) = 0;
    virtual std::size_t MIDIGetNumberOfDestinations() = 0;
    virtual MIDIEndpointRef MIDIGetDestination(std::size_t index) = 0;

    virtual MIDIStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, MIDIProperty property,
                                                    std::int32_t& value) = 0;
    virtual MIDIStatus MIDIObjectGetStringProperty(MIDIObjectRef object, MIDIProperty property, std::string& value) = 0;
    /// Virtual endpoints only.
    virtual MIDIStatus MIDIObjectSetIntegerProperty(MIDIObjectRef object, MIDIProperty property,
                                                    std::int32_t value) = 0;
    /// Virtual endpoints only. A new name shows in the display name too.
    virtual MIDIStatus MIDIObjectSetStringProperty(MIDIObjectRef object, MIDIProperty property,
                                                   const std::string& value) = 0;
    /// Fails when no object holds the ID.
    virtual MIDIStatus MIDIObjectFindByUniqueID(std::int32_t uniqueID, MIDIObjectRef& object) = 0;

    virtual MIDIStatus MIDIInputPortCreateWithBlock(MIDIClientRef client, const std::string& name, MIDIReadBlock read,
                                                    MIDIPortRef& port) = 0;
    /// `connection` comes back with every packet list of this source. Connecting again replaces it.
    virtual MIDIStatus MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, std::uintptr_t connection) = 0;
    virtual MIDIStatus MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source) = 0;
    virtual MIDIStatus MIDIOutputPortCreate(MIDIClientRef client, const std::string& name, MIDIPortRef& port) = 0;
    /// Ends the port's connections with it.
    virtual MIDIStatus MIDIPortDispose(MIDIPortRef port) = 0;

    virtual MIDIStatus MIDISourceCreate(MIDIClientRef client, const std::string& name, MIDIEndpointRef& source) = 0;
    virtual MIDIStatus MIDIDestinationCreateWithBlock(MIDIClientRef client, const std::string& name, MIDIReadBlock read,
                                                      MIDIEndpointRef& destination) = 0;
    virtual MIDIStatus MIDIEndpointDispose(MIDIEndpointRef endpoint) = 0;

    virtual MIDIStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, const PacketListView& list) = 0;
    virtual MIDIStatus MIDIReceived(MIDIEndpointRef source, const PacketListView& list) = 0;
};

/// Makes a service the current one for as long as the scope lives, and the former one current again after it.
/// Scopes nest, and belong to the thread that starts and ends the session.
class MIDIServiceScope {
public:
    explicit MIDIServiceScope(MIDIService& service);
    ~MIDIServiceScope();
    MIDIServiceScope(const MIDIServiceScope&) = delete;
    MIDIServiceScope& operator=(const MIDIServiceScope&) = delete;

private:
    MIDIService* former;
};

}  // namespace varnolex
