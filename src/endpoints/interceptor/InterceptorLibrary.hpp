#pragma once

#include <memory>
#include <set>

#include "endpoints/MIDIService.hpp"
#include "endpoints/interceptor/DestinationMap.hpp"
#include "platform/ports/MessagePorts.hpp"

namespace varnolex {

/// The outcome of an operation of the library; 0 is success.
using InterceptorStatus = std::int32_t;

inline constexpr InterceptorStatus interceptorSuccess = 0;
/// No driver has its port open, or it doesn't listen any more.
inline constexpr InterceptorStatus interceptorNoDriver = 17;
/// The driver gave no number, or the client's port couldn't be opened.
inline constexpr InterceptorStatus interceptorSignOnFailed = 18;
/// The port has this destination already.
inline constexpr InterceptorStatus interceptorAlreadyConnected = 33;
/// The port hasn't got this destination.
inline constexpr InterceptorStatus interceptorNotConnected = 34;
/// Something was disposed of, empty, or no destination.
inline constexpr InterceptorStatus interceptorBadArgument = -50;
inline constexpr InterceptorStatus interceptorNoMemory = -108;

/// One program's link to the driver: the remote port, a local port with its worker thread, and what hangs on it.
class InterceptorClient;
/// What hears of the destinations that are connected to it.
class InterceptorPort;

using InterceptorClientRef = std::shared_ptr<InterceptorClient>;
using InterceptorPortRef = std::shared_ptr<InterceptorPort>;

/// Hears what other applications send to destinations, through the driver. Main thread, but for the read blocks, which
/// run on the worker thread of their client. Out-parameters are written on success only.
class InterceptorLibrary {
public:
    explicit InterceptorLibrary(MessagePorts& messagePorts) : ports(messagePorts) {}
    /// Disposes of all clients.
    ~InterceptorLibrary();
    InterceptorLibrary(const InterceptorLibrary&) = delete;
    InterceptorLibrary& operator=(const InterceptorLibrary&) = delete;

    /// Signs on with the driver. A driver that has stopped in the middle of its work can hold this up for 300 s.
    InterceptorStatus createClient(InterceptorClientRef& client);
    /// Disposes of its ports too. No read block of the client runs any more when this has returned.
    InterceptorStatus disposeClient(InterceptorClientRef client);

    /// `read` gets every packet list for a connected destination with the reference value of the connection. A call may
    /// be under way, and the block be kept for a while, when the port has been disposed of.
    InterceptorStatus createPort(const InterceptorClientRef& client, MIDIReadBlock read, InterceptorPortRef& port);
    /// Disconnects it from its destinations first.
    InterceptorStatus disposePort(const InterceptorPortRef& port);

    /// The first connection of a destination on a client asks the driver for copies, its last disconnection ends that.
    InterceptorStatus connect(const InterceptorPortRef& port, MIDIEndpointRef destination, std::uintptr_t reference);
    InterceptorStatus disconnect(const InterceptorPortRef& port, MIDIEndpointRef destination);

private:
    InterceptorStatus makeClient(InterceptorClientRef& client);

    MessagePorts& ports;
    /// Of all clients; there once the first one is.
    std::shared_ptr<DestinationMap> destinations;
    std::set<InterceptorClientRef> clients;
};

}  // namespace varnolex
