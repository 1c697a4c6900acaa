#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "endpoints/PacketList.hpp"
#include "platform/ports/MessagePorts.hpp"

/// What the system and its driver say to each other over message ports. All numbers are in the machine's byte order.
namespace varnolex::interceptorprotocol {

inline constexpr const char* driverPortName = "com.varnolex.core";

/// The number by which the driver knows a client: positive.
using ClientNumber = std::int32_t;

/// The port of its own on which a client hears from the driver.
std::string clientPortName(ClientNumber client);

/// The messages to the driver, by ID.
enum Request : std::int32_t {
    /// No data; the reply is the client's number.
    signOn = 0,
    /// The client's number: its port is open.
    ready = 1,
    /// A `Forwarding`, for the two below.
    startForwarding = 2,
    stopForwarding = 3,
};

/// A client and the destination of which it wants copies.
struct Forwarding {
    ClientNumber client = 0;
    std::int32_t destinationUniqueID = 0;

    bool operator==(const Forwarding&) const = default;
};

PortBytes bytesOf(ClientNumber client);
PortBytes bytesOf(const Forwarding& forwarding);

/// Nothing unless the data has exactly the right size.
std::optional<ClientNumber> clientNumberFrom(std::span<const std::uint8_t> data);
std::optional<Forwarding> forwardingFrom(std::span<const std::uint8_t> data);

/// A message of the driver to a client: what somebody sent to a destination. Its message ID says nothing.
struct Copy {
    std::int32_t destinationUniqueID = 0;
    PacketListView list;
};

/// The copy in `data`, valid as long as that is. Nothing unless every packet that the list claims is inside it.
std::optional<Copy> copyFrom(std::span<const std::uint8_t> data);

/// Puts a copy in `output`, in place of what is there.
void writeCopy(std::int32_t destinationUniqueID, const PacketListView& list, PortBytes& output);

}  // namespace varnolex::interceptorprotocol
