#pragma once

#include "platform/ports/PortFolder.hpp"
#include "platform/ports/PortFrame.hpp"

namespace varnolex {

/// The sending end of a port over sockets.
class SocketRemotePort final : public RemoteMessagePort {
public:
    /// `connected` is a stream that doesn't block.
    explicit SocketRemotePort(OwnedDescriptor connected) : socket(std::move(connected)) {}

    PortOutcome send(std::int32_t id, std::span<const std::uint8_t> data, Nanoseconds timeout) override;
    Answer request(std::int32_t id, std::span<const std::uint8_t> data, Nanoseconds sendTimeout,
                   Nanoseconds receiveTimeout) override;
    void flush() override;
    bool isAlive() override;

private:
    PortOutcome sendFrame(const PortFrame& frame, Nanoseconds timeout);
    PortOutcome flushUntil(HostTime deadline);
    PortOutcome waitFor(short event, HostTime deadline);
    PortOutcome receive(HostTime deadline);
    PortOutcome giveUp();

    OwnedDescriptor socket;
    PortFrameReader reader;
    std::uint32_t lastSerial = 0;
    /// The rest of a message that the receiver has begun to take.
    PortBytes rest;
};

}  // namespace varnolex
