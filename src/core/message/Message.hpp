#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/message/MessageTypeMask.hpp"
#include "core/message/SharedName.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/BlockPool.hpp"
#include "platform/concurrency/Reference.hpp"

namespace varnolex {

/// Marks a message that left a chain.
struct PipeRouteInfo {
    SharedName pipeName;
    /// May be absent.
    SharedName toolName;

    bool operator==(const PipeRouteInfo&) const = default;
};

/// Which class a message is of.
enum class MessageClass : std::uint8_t {
    voice,
    systemExclusive,
    systemCommon,
    systemRealTime,
    nrpn,
    invalid,
};

/// A MIDI event on the monitoring side: shared by reference between threads, and read-only once whoever made it
/// has handed it on. Messages live in pooled memory, so that making and ending one leaves the general heap alone.
class Message {
public:
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    virtual MessageTypeMask messageType() const { return MessageTypeMask::invalid; }
    virtual MessageClass messageClass() const = 0;

    /// This message as one of its subclass, or null when it is of another.
    template <class Subclass>
    const Subclass* as() const {
        return messageClass() == Subclass::ownClass ? static_cast<const Subclass*>(this) : nullptr;
    }

    /// Set on messages that left a chain, absent on messages from an endpoint.
    std::optional<PipeRouteInfo> routeInfo() const { return route.pipeName ? std::optional(route) : std::nullopt; }

    /// Only before the message is handed on. The pipe's name must be there.
    void setRouteInfo(PipeRouteInfo info) { route = info; }

    /// A new message of a class with `room` bytes of pooled memory behind the object, from the arguments of its
    /// constructor.
    template <class Subclass, class... Arguments>
    static Reference<Subclass> make(std::size_t room, Arguments&&... arguments) {
        const std::size_t size = sizeof(Subclass) + room;
        const BlockPool::SizeClass sizeClass = BlockPool::classOf(size);
        auto* const made = new (BlockPool::allocate(sizeClass, size)) Subclass(std::forward<Arguments>(arguments)...);
        Message& message = *made;
        message.sizeClass = sizeClass;
        message.holdsOthers = !std::is_trivially_destructible_v<Subclass>;
        return Reference<Subclass>::adopt(made);
    }

    void retain() const noexcept { references.retain(); }
    void release() const noexcept {
        if (references.release()) end();
    }

    /// Fresh for each message; selections and table rows go by it.
    const UUID id;

    /// Ticks of the host clock, never 0.
    const HostTime timeStamp;

    /// The display name of the endpoint or route that the message came from. Written only before the message is
    /// handed on.
    SharedName originatingEndpointName;

protected:
    /// A `time` of 0 stands for now.
    Message(HostTime time, std::uint8_t status, SharedName endpoint)
        : id(Runtime::current().makeUUID()),
          timeStamp(time != 0 ? time : Runtime::current().hostTime()),
          originatingEndpointName(endpoint),
          statusByte(status),
          timeStampWasZeroWhenReceived(time == 0),
          sizeClass(0),
          holdsOthers(false) {}

    /// Ends what the message holds, in the classes that have a destructor to speak of.
    virtual void endHolds() noexcept { assert(false && "whoever holds others says how that ends"); }

    // Most messages hold nothing that needs an end, so that ending them is no more than giving back their memory.
    ~Message() = default;

private:
    void end() const noexcept;
    void endWithHolds() noexcept;

    PipeRouteInfo route;
    mutable ReferenceCount references;

public:
    /// With the channel in its low nibble where there is one.
    const std::uint8_t statusByte;

    /// Whether the time given was 0, so that `timeStamp` was read from the host clock.
    const bool timeStampWasZeroWhenReceived : 1;

private:
    BlockPool::SizeClass sizeClass : 6;
    bool holdsOthers : 1;
};

using MessageRef = Reference<Message>;
using MessageList = std::vector<MessageRef>;

/// A new message of a class, from the arguments of its constructor.
template <class Subclass, class... Arguments>
Reference<Subclass> makeMessage(Arguments&&... arguments) {
    return Message::make<Subclass>(0, std::forward<Arguments>(arguments)...);
}

}  // namespace varnolex
